#include <QCheckBox>

#include <gmock/gmock.h>

#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::HasSubstr;

const QString kPage = u"database"_s;

TEST_F(WindowTest, TheDatabaseIsBackedUpAndItsFrequencyCheckedByHand) {
    Open(kPage);
    Click(kPage, u"Back up"_s);
    EXPECT_THAT(BoxText(), HasSubstr("The database has been backed up:"));
    Answer(QMessageBox::Ok);
    Click(kPage, u"Back up"_s);
    EXPECT_THAT(BoxText(), HasSubstr("Would you like to keep the older backups and create a new backup?"));
    EXPECT_FALSE(Find<QAbstractButton>(kPage, u"Condense"_s)->isEnabled()) << "one thing at a time";
    Answer(QMessageBox::Cancel);
    EXPECT_THAT(BoxText(), HasSubstr("The database file has not been backed up! Cancel was selected."));
    Answer(QMessageBox::Ok);
    EXPECT_TRUE(Find<QAbstractButton>(kPage, u"Condense"_s)->isEnabled());

    Enter(kPage, u"Seconds between writes"_s, u"61"_s);
    EXPECT_EQ(BoxText(), "Not within acceptable range of 3 to 60 seconds");
    Answer(QMessageBox::Ok);
    EXPECT_EQ(Find<QLineEdit>(kPage, u"Seconds between writes"_s)->text(), u"10"_s);
    Enter(kPage, u"Seconds between writes"_s, u"2"_s);
    EXPECT_EQ(program_->settings.GetSetting(u"DBwriteFrequency"_s), u"2"_s);

    QTest::mouseClick(Find<QCheckBox>(kPage, u"Write to SQLite3"_s), Qt::LeftButton, {}, QPoint(8, 8));
    EXPECT_FALSE(program_->dbWriter.Enabled());
}

TEST_F(WindowTest, NothingIsDeletedUnlessThePersonSaysYes) {
    Open(kPage);
    Enter(kPage, u"Days"_s, u"1501"_s);
    Click(kPage, u"Delete older..."_s);
    EXPECT_EQ(BoxText(), "Number of days is too high. Try different value.");
    Answer(QMessageBox::Ok);
    Click(kPage, u"Empty the database..."_s);
    EXPECT_THAT(BoxText(), HasSubstr("Are you willing to lose all collected data?"));
    EXPECT_TRUE(Box()->button(QMessageBox::No)->hasFocus()) << "the Return key loses nothing";
    Box()->close();
    EXPECT_TRUE(SpinUntil([] { return Box() != nullptr && Box()->text() == u"Deletion aborted."_s; }));
    Answer(QMessageBox::Ok);
}

}  // namespace
}  // namespace corvane
