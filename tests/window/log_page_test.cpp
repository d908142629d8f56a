#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QGuiApplication>
#include <QPlainTextEdit>
#include <QTableView>

#include <gmock/gmock.h>

#include "store/error_log.h"
#include "window/person.h"
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
    const auto row = [model](int of) {
        QStringList texts;
        for (int column = 0; column < model->columnCount(); ++column)
            texts += of < 0 ? model->headerData(column, Qt::Horizontal).toString()
                            : model->index(of, column).data().toString();
        return texts.join(u'|').toStdString();
    };
    EXPECT_EQ(row(-1), "Time|Number|What|Where");
    EXPECT_EQ(row(0), "2026-03-02 10:20:30|6|Overflow|CH1");
    EXPECT_EQ(row(1), "||half a li|");
    EXPECT_EQ(model->index(1, 2).data(Qt::ToolTipRole), u"half a li"_s);
    EXPECT_EQ(model->index(1, 2).data(Qt::DecorationRole), QVariant());
    const auto shown = [this] { return Seen(window_->findChild<QWidget*>(kPage)); };
    const QString summary =
        u"Corvane %1   ·   0 good packets, 0 bad   ·   DB Buffer = -1   ·   data in %2 (Copy all) (Delete...) 2 entries"_s;
    EXPECT_EQ(shown(), summary.arg(QCoreApplication::applicationVersion(), folder.Path()).toStdString());
    for (const auto& [answer, left] : {std::pair(No, 2), std::pair(Yes, 0)}) {
        Click(kPage, u"Delete..."_s);
        Through(
            {{"Are you sure you want to delete the \"Error Log Fille\" containing the current list of "
              "errors?",
              answer}});
        EXPECT_EQ(model->rowCount(), left);
    }
    EXPECT_TRUE(shown().ends_with("(Delete...) 0 entries")) << shown();
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
    const auto& lines = program_->statusBoard.Lines();
    EXPECT_EQ(Find<QPlainTextEdit>(kPage, u"Status list"_s)->toPlainText(),
              QStringList(lines.begin(), lines.end()).join(u'\n'));
    EXPECT_GT(lines.size(), 1U) << "what came before the window is listed, too";
    Click(kPage, u"Copy all"_s);
    EXPECT_NE(Find<QAbstractButton>(kPage, u"Copied"_s), nullptr);
    EXPECT_THAT(QGuiApplication::clipboard()->text().toStdString(),
                AllOf(HasSubstr("\n0/DevSerial=301234\n"), HasSubstr("\n     Something happened.\n"),
                      HasSubstr("6\tOverflow\tCH1\t"), HasSubstr("TCP Server A: Listening"),
                      HasSubstr("startup/PachubeKey=(not shown)\n"),
                      HasSubstr("startup/WeatherPlace=(not shown)\n"), Not(HasSubstr("c0ffee"))));
}

}  // namespace
}  // namespace corvane
