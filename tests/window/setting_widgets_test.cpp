#include "window/parts/setting_widgets.h"

#include <QCheckBox>
#include <QFormLayout>

#include "window/actions.h"
#include "window/window_fixture.h"
#include "window/window_operator.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr Setting kLamps{.key = "Lamps#",
                         .members = "A-B",
                         .kind = SettingKind::Number,
                         .fallback = "4",
                         .least = 1,
                         .most = 6,
                         .help = "how many lamps there are"};
constexpr Setting kLit{.key = "Lit", .kind = SettingKind::Switch, .fallback = "True"};

TEST_F(WindowTest, ASettingIsShownCheckedAndKeptByWhatItsDeclarationSays) {
    Open();
    QWidget room;
    auto* form = new QFormLayout(&room);
    WindowOperator person(room);
    Actions actions(person, program_->runningCommand);
    Settings settings(program_->settings, {});
    QLineEdit* lamps = AddSettingEntry(form, u"Lamps"_s, settings, actions, kLamps, {.member = u"B"_s});
    QCheckBox* lit = AddSettingSwitch(form, u"Lit"_s, settings, actions, kLit);
    room.show();
    EXPECT_EQ(lamps->text(), u"4"_s);
    EXPECT_EQ(lamps->toolTip(), u"how many lamps there are"_s);
    EXPECT_TRUE(lit->isChecked());

    const auto enter = [lamps](const QString& text) {
        lamps->selectAll();
        QTest::keyClicks(lamps, text);
        QTest::keyClick(lamps, Qt::Key_Return);
    };
    enter(u" 5.0 "_s);
    EXPECT_EQ(program_->settings.Value(kLamps, {.member = u"B"_s}), u"5"_s);
    enter(u"7"_s);
    EXPECT_EQ(BoxText(), "LampsB is a whole number from 1 to 6.");
    EXPECT_EQ(lamps->text(), u"5"_s);
    Answer(QMessageBox::Ok);

    lit->click();
    EXPECT_FALSE(program_->settings.IsOn(kLit));
    EXPECT_FALSE(lit->isChecked());

    actions.Run(u"Anything"_s, [](Operator&) -> QCoro::Task<Outcome> {
        throw std::bad_alloc();
        co_return Outcome::Success();
    });
    EXPECT_EQ(BoxText(), "The command Anything failed: std::bad_alloc");
    Answer(QMessageBox::Ok);
    EXPECT_FALSE(actions.Busy());
}

}  // namespace
}  // namespace corvane
