// What the window itself does: menus, status bar, its place; and how it asks and tells.
#include <QAbstractSpinBox>
#include <QAction>
#include <QMenuBar>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QTabBar>

#include <gtest/gtest.h>

#include "window/first_steps.h"
#include "window/parts/health_banner.h"
#include "window/person.h"
#include "window/setup/burden_dialog.h"
#include "window/stand_in_browser.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

using Given = Answer;  // the fixture has a function of that name

class MainWindowTest : public WindowTest {
protected:
    void Choose(const QString& entry) {
        for (QAction* action : window_->findChildren<QAction*>())
            if (action->text() == entry) return action->trigger();
        ADD_FAILURE() << entry.toStdString();
    }

    std::string StatusBar() { return Seen(window_->statusBar()); }
};

TEST_F(MainWindowTest, TheTabAndThePlaceAreAsTheyWereLeft) {
    Preset(u"COMtab"_s, u"99"_s);
    Open();
    auto* tabs = window_->findChild<QTabWidget*>();
    EXPECT_EQ(tabs->currentWidget()->objectName(), u"log"_s) << "the last one";
    EXPECT_EQ(window_->size(), QSize(1180, 760));
    tabs->setCurrentIndex(4);
    EXPECT_TRUE(Seen(tabs->currentWidget()).starts_with("waiting Listening, port")) << "up to date at once";
    window_->resize(1000, 600);
    window_->PrepareToEnd();
    window_ = std::make_unique<MainWindow>(*program_);
    window_->ShowProgram();
    EXPECT_EQ(window_->height(), 600);
    EXPECT_EQ(window_->findChild<QTabWidget*>()->currentIndex(), 4);
}

TEST_F(MainWindowTest, WhatIsWrongStandsAboveAllTabs) {
    Open();
    auto* banner = window_->findChild<HealthBanner*>();
    clock.AdvanceSeconds(1);
    EXPECT_TRUE(banner->isHidden()) << "no backup yet is no trouble";
    program_->settings.Save(kAutoDelete, true);
    program_->settings.Save(kAutoDeleteDays, u"x"_s);
    clock.Jump(-60 * 365 * 86'400LL);
    program_->settings.Save(kDatabaseEnabled, false);
    clock.AdvanceSeconds(1);
    const std::string worst =
        "fault The clock of this machine shows 1966: records get that date. Set it, or let the machine reach "
        "a "
        "time server. fault The database is switched off: nothing is recorded. Switch it on (Database tab, "
        "or "
        "\"corvanectl database on\").";
    EXPECT_EQ(Seen(banner), "o 1 more " + worst);
    banner->findChild<QPushButton*>()->click();
    EXPECT_EQ(
        Seen(banner),
        "x Fewer " + worst +
            " waiting The setting AutoDeleteDays is \"x\", not a whole number from 1 to 1500; Automatic "
            "delete does not run.");
    program_->settings.Save(kDatabaseEnabled, true);
    program_->settings.Save(kAutoDelete, false);
    clock.Jump(60 * 365 * 86'400LL);
    clock.AdvanceSeconds(1);
    EXPECT_TRUE(banner->isHidden());
}

TEST_F(MainWindowTest, TheMenusDoWhatTheySay) {
    Preset(u"WebToken"_s, u"0123456789abcdef"_s);
    Open();
    int closeWanted = 0;
    QObject::connect(window_.get(), &MainWindow::CloseWanted, [&closeWanted] { ++closeWanted; });
    Choose(u"&Quit"_s);
    EXPECT_EQ(closeWanted, 1);
    EXPECT_TRUE(window_->isVisible()) << "the program closes it";
    for (const bool full : {true, false}) {
        Choose(u"&Full screen"_s);
        EXPECT_EQ(window_->isFullScreen(), full);
        for (const QWidget* edge :
             {static_cast<QWidget*>(window_->menuBar()), static_cast<QWidget*>(window_->statusBar()),
              static_cast<QWidget*>(window_->findChild<QTabBar*>())})
            EXPECT_EQ(edge->isHidden(), full);
    }
    EXPECT_EQ(window_->actions().size(), 1) << "the key for it works while the menu is hidden";
    StandInBrowser browser;
    Choose(u"Pages in the &browser"_s);
    EXPECT_EQ(browser.opened, program_->webServer.Location() + u"/?token=0123456789abcdef"_s);
    Choose(u"&First steps..."_s);
    ASSERT_NE(window_->findChild<FirstSteps*>(), nullptr);
    window_->findChild<FirstSteps*>()->reject();
    Choose(u"&About Corvane"_s);
    EXPECT_EQ(BoxText(),
              u"Corvane %1\n\nData folder: %2"_s.arg(QCoreApplication::applicationVersion(), folder.Path())
                  .toStdString());
    Through({{"Data folder"}});
    window_->SayItIsADemo();
    EXPECT_EQ(window_->windowTitle(), u"Corvane - demo"_s);
    EXPECT_EQ(StatusBar(), "0 good packets, 0 bad Demo: simulated monitors. Nothing of this is kept.");
}

TEST_F(MainWindowTest, TheBurdenIsCalculatedFromWhatIsEntered) {
    Open();
    Choose(u"CT &burden calculator..."_s);
    auto* dialog = window_->findChild<BurdenDialog*>();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->windowTitle(), u"CT burden calculator"_s);
    EXPECT_NE(Seen(dialog).find("Exact: 6.66 Ohm: 0.333 V and 0.0167 W"), std::string::npos) << Seen(dialog);
    const std::pair<const char*, const char*> entered[] = {{"200", "Exact: 3.33 Ohm: 0.333 V and 0.0333 W"},
                                                           {"1000", "E24: 1.6 Ohm: 0.32 V and 0.064 W"},
                                                           {"1", "E96: 4.99 Ohm: 0.998 V and 0.2 W"},
                                                           {"2", "E96: 2.49 Ohm: 0.996 V and 0.398 W"}};
    for (int row = 0; row < 4; ++row) {
        auto* entry = dialog->findChildren<QAbstractSpinBox*>()[row]->findChild<QLineEdit*>();
        entry->selectAll();
        QTest::keyClicks(entry, QLatin1StringView(entered[row].first));
        EXPECT_NE(Seen(dialog).find(entered[row].second), std::string::npos) << Seen(dialog);
    }
}

TEST_F(MainWindowTest, TheStatusBarTellsWhatRuns) {
    Open();
    clock.AdvanceSeconds(1);
    EXPECT_EQ(StatusBar(), "0 good packets, 0 bad Preparing to write to db");
    const auto* bar = window_->findChild<QProgressBar*>();
    EXPECT_FALSE(bar->isVisible());
    window_->Person().ShowProgress({.operation = u"Condense"_s, .seconds = 12, .percent = 40});
    EXPECT_EQ(StatusBar(), "0 good packets, 0 bad Preparing to write to db Condense  12 s (Cancel)");
    EXPECT_EQ(bar->text(), u"40%"_s);
    window_->Person().ShowProgress({.operation = u"Condense"_s, .seconds = 13, .percent = {}});
    EXPECT_EQ(bar->maximum(), 0) << "it only tells that something goes on";
    window_->Person().ShowProgress({});
    EXPECT_EQ(StatusBar(), "0 good packets, 0 bad Preparing to write to db");
    EXPECT_FALSE(bar->isVisible());
}

TEST_F(MainWindowTest, AQuestionIsAnsweredByItsButtonsAndLeftAloneByItsSafeAnswer) {
    WindowOperator& person = Open().Person();
    const Question plain{.text = u" <b>? "_s, .yes = u"Make"_s, .no = u"Take"_s};
    const Question toGiveUp{.text = u"Give up?"_s, .safe = Given::Yes, .title = u"CAUTION"_s};
    const Question three{.text = u"Keep?"_s, .cancellable = true};
    const char* const asPlain = "Corvane: <b>? (Make) (Take)";
    const char* const asGiveUp = "CAUTION: Give up? (&Yes) (&No)";
    const char* const asThree = "Corvane: Keep? (&Yes) (&No) (Cancel)";
    const std::tuple<Question, const char*, Press, Given> cases[] = {
        {plain, asPlain, Yes, Given::Yes},        {plain, asPlain, No, Given::No},
        {plain, asPlain, Return, Given::No},      {plain, asPlain, Escape, Given::No},
        {toGiveUp, asGiveUp, Yes, Given::Yes},    {toGiveUp, asGiveUp, No, Given::No},
        {toGiveUp, asGiveUp, Return, Given::Yes}, {toGiveUp, asGiveUp, Escape, Given::Yes},
        {three, asThree, Yes, Given::Yes},        {three, asThree, No, Given::No},
        {three, asThree, Cancel, Given::Cancel},  {three, asThree, Escape, Given::Cancel},
    };
    for (const auto& [question, shown, press, answer] : cases) {
        auto asked = person.Ask(question);
        EXPECT_EQ(Box()->windowTitle().toStdString() + ": " + Seen(Box()), shown);
        Through({{"?", press}});
        EXPECT_EQ(QCoro::waitFor(std::move(asked)), answer) << shown << int(press);
    }
}

TEST_F(MainWindowTest, MessagesJoinTheBoxThatIsOpenAndTheEndAsksNothingMore) {
    WindowOperator& person = Open().Person();
    person.Show(u" \n"_s);
    EXPECT_EQ(Box(), nullptr);
    for (const auto& [text, shown] :
         {std::pair(u" one\n"_s, "one"), std::pair(u"<b>two"_s, "one\n\n<b>two")}) {
        person.Show(text);
        EXPECT_EQ(BoxText(), shown);
        EXPECT_EQ(Box()->textFormat(), Qt::PlainText);
    }
    Through({{"one"}});
    person.Show(u"three"_s);
    EXPECT_EQ(BoxText(), "three");
    auto open = person.Ask({.text = u"Give up?"_s, .safe = Given::Yes});
    window_->PrepareToEnd();
    EXPECT_EQ(Box(), nullptr);
    EXPECT_EQ(QCoro::waitFor(std::move(open)), Given::Yes);
    person.Show(u"too late"_s);
    EXPECT_EQ(QCoro::waitFor(person.Ask({.text = u"?"_s, .safe = Given::Yes})), Given::Yes);
    EXPECT_EQ(QCoro::waitFor(person.AskText(u"?"_s)), std::nullopt);
    EXPECT_EQ(QCoro::waitFor(person.AskFile({.prompt = u"?"_s})), std::nullopt);
    EXPECT_EQ(Box(), nullptr);
}

TEST_F(MainWindowTest, AFileIsAskedForByWhatItIsFor) {
    WindowOperator& person = Open().Person();
    folder.Write(u"old.db3"_s, "");
    const std::tuple<bool, QString, QString, std::optional<QString>> cases[] = {
        {false, u"db3"_s, u"old.db3"_s, u"old.db3"_s},
        {true, u"db3"_s, u"old.db3"_s, u"old.db3"_s},
        {true, u"csv"_s, u"new"_s, u"new.csv"_s},
        {true, u"csv"_s, {}, std::nullopt}};
    for (const auto& [toMake, kind, entered, taken] : cases) {
        auto asked = person.AskFile(
            {.prompt = u"Which?"_s, .suggestion = folder.Path(u"x"_s), .toMake = toMake, .kind = kind});
        auto* dialog = window_->findChild<QFileDialog*>();
        ASSERT_NE(dialog, nullptr);
        EXPECT_EQ(dialog->nameFilters(), QStringList(u".%1 (*.%1)"_s.arg(kind)));
        EXPECT_EQ(dialog->acceptMode() == QFileDialog::AcceptSave, toMake);
        EXPECT_EQ(dialog->fileMode() == QFileDialog::AnyFile, toMake);
        EXPECT_EQ(dialog->findChild<QLineEdit*>(u"fileNameEdit"_s)->text(), u"x"_s);
        if (taken)
            EnterFile(folder.Path(entered));
        else
            dialog->reject();
        EXPECT_EQ(QCoro::waitFor(std::move(asked)), taken ? std::optional(folder.Path(*taken)) : taken);
    }
}

}  // namespace
}  // namespace corvane
