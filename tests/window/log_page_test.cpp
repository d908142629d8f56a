#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QGuiApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QTableView>

#include <gmock/gmock.h>

#include "store/error_log.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

const QString kPage = u"log"_s;

TEST_F(WindowTest, TheErrorLogIsListedAndDeletedOnlyOnYes) {
    Open(kPage);
    const QAbstractItemModel* model = Find<QTableView>(kPage, u"Error log"_s)->model();
    const QAbstractItemModelTester tester(Find<QTableView>(kPage, u"Error log"_s)->model(),
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    program_->errorLog.LogError(6, u"Overflow"_s, u"CH1"_s);
    QFile log(program_->errorLog.Path());
    ASSERT_TRUE(log.open(QIODevice::Append));
    log.write("half a li\n");
    log.close();
    clock.AdvanceSeconds(1);
    ASSERT_EQ(model->rowCount(), 2);
    const auto text = [model](int row, int column) { return model->index(row, column).data().toString(); };
    EXPECT_EQ(text(0, 1), u"6"_s);
    EXPECT_EQ(text(0, 2), u"Overflow"_s);
    EXPECT_EQ(text(0, 3), u"CH1"_s);
    EXPECT_EQ(text(1, 2), u"half a li"_s);

    const std::string question =
        "Are you sure you want to delete the \"Error Log Fille\" containing the current list of errors?";
    Click(kPage, u"Delete..."_s);
    EXPECT_EQ(BoxText(), question);
    Answer(QMessageBox::No);
    EXPECT_EQ(model->rowCount(), 2);
    Click(kPage, u"Delete..."_s);
    EXPECT_EQ(BoxText(), question);
    Answer(QMessageBox::Yes);
    EXPECT_EQ(model->rowCount(), 0);
}

TEST_F(WindowTest, TheBugReportHasAllButTheKeys) {
    Preset(u"PachubeKey"_s, u"c0ffee"_s);
    Preset(u"WebToken"_s, u"c0ffee"_s);
    Preset(u"GetURLext"_s, u"/post?apikey=c0ffee"_s);
    Preset(u"DevSerial"_s, u"301234"_s, u"0"_s);
    Preset(u"WeatherPlace"_s, u"c0ffee"_s);  // of nobody, as far as this program knows
    Open(kPage);
    program_->statusBoard.AddLine(u"     Something happened."_s);
    program_->errorLog.LogError(6, u"Overflow"_s, u"CH1"_s);
    EXPECT_TRUE(
        Find<QPlainTextEdit>(kPage, u"Status list"_s)->toPlainText().endsWith(u"     Something happened."_s));
    Click(kPage, u"Copy all"_s);
    EXPECT_THAT(QGuiApplication::clipboard()->text().toStdString(),
                AllOf(HasSubstr("\n0/DevSerial=301234\n"), HasSubstr("\n     Something happened.\n"),
                      HasSubstr("6\tOverflow\tCH1\t"), HasSubstr("TCP Server A: Listening"),
                      HasSubstr("startup/PachubeKey=(not shown)\n"),
                      HasSubstr("startup/WeatherPlace=(not shown)\n"), Not(HasSubstr("c0ffee"))));
}

}  // namespace
}  // namespace corvane
