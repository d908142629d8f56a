// Plays the sections of pages_test.txt in the window, as a person would.
#include <QComboBox>
#include <QDateEdit>
#include <QGroupBox>
#include <QLabel>
#include <QRegularExpression>
#include <QSpinBox>
#include <QTableWidget>

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <stdexcept>

#include "store/rows.h"
#include "store/schema.h"
#include "store/settle_bursts.h"
#include "support/data_lines.h"
#include "support/loopback.h"
#include "support/packets.h"
#include "support/settings_by_key.h"
#include "window/past/chart_view.h"
#include "window/person.h"
#include "window/stand_in_browser.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class PagesTest : public WindowTest, public testing::WithParamInterface<DataSection> {
protected:
    PagesTest() {
        names_[u"%folder"_s] = folder.Path();
        names_[u"∅"_s] = QString();
        names_[u"⌫"_s] = u"\b"_s;
        names_[u"%free"_s] = QString::number(FreePort());
    }

    void Play(const DataLine& line) {
        SCOPED_TRACE(line);
        QStringList actions = line.left.split(u" ; "_s);
        const QString asked = line.expects ? actions.takeLast() : QString();
        for (const QString& action : actions)
            Do(WithNames(action));
        if (!asked.isEmpty()) Expect(WithNames(asked), QString(line.right).remove(u'∅'));
    }

private:
    using Verb = std::function<void(const QString& what, const QString& value)>;
    using Question = std::function<QString(const QString& what)>;

    QString WithNames(QString text) const {
        for (const auto& [name, value] : names_)
            text.replace(name, value);
        return text;
    }

    QWidget* Front() { return window_->findChild<QTabWidget*>()->currentWidget(); }

    /// The one in the dialog that is open, on the page in front or in the status bar.
    template <typename Kind>
    Kind* Named(const QString& name) {
        for (const QWidget* room :
             {QApplication::activeModalWidget(), Front(), static_cast<QWidget*>(window_->statusBar())}) {
            if (room == nullptr) continue;
            for (Kind* each : room->findChildren<Kind*>())
                if (each->accessibleName() == name || each->property("text").toString() == name) return each;
        }
        throw std::runtime_error(u"no %1"_s.arg(name).toStdString());
    }

    void Do(const QString& action) {
        const QString what = action.section(u' ', 1);
        const auto verb = verbs_.find(action.section(u' ', 0, 0));
        ASSERT_NE(verb, verbs_.end()) << action.toStdString();
        verb->second(what.section(u" = "_s, 0, 0), what.section(u" = "_s, 1));
    }

    void Pass(Press press, QString text) {
        Through({{text.replace(u'¶', u'\n').toStdString().c_str(), press}});
    }

    void Type(const QString& name, const QString& text) {
        auto* entry = Named<QLineEdit>(name);
        entry->selectAll();
        QTest::keyClicks(entry, text);
    }

    void Pick(const QString& name, const QString& text) {
        auto* choice = Named<QComboBox>(name);
        ASSERT_GE(choice->findText(text), 0) << text.toStdString();
        choice->setCurrentIndex(choice->findText(text));
        Q_EMIT choice->activated(choice->currentIndex());
    }

    /// Types into the question that is open, and agrees to it.
    void Reply(const QString& text) {
        QInputDialog* dialog = nullptr;
        ASSERT_TRUE(SpinUntil([&] { return (dialog = window_->findChild<QInputDialog*>()) != nullptr; }));
        QTest::keyClicks(dialog->findChild<QLineEdit*>(), text);
        QTest::keyClick(dialog, Qt::Key_Return);
        EXPECT_TRUE(SpinUntil([this] { return window_->findChild<QInputDialog*>() == nullptr; }));
    }

    /// From Device A.
    void Hear(const QString& seconds, const QString& pulses) {
        program_->measurement.DisplayData(
            kStreamTcpA, PacketOf({.seconds = seconds.toUInt(), .aux = {0, 0, 0, pulses.toUInt(), 0}}));
    }

    void Write(const QString& statement) {
        program_->dbWriter.ForceNextBurst();
        program_->dbWriter.WriteSQL(statement.toStdString());
        SettleBursts(program_->dbWriter);
        clock.AdvanceSeconds(1);
    }

    void Begin(const QString& page) {
        if (window_ == nullptr) {
            Open(page);
            names_[u"%a"_s] = QString::number(program_->tcpA.LocalPort());
            names_[u"%b"_s] = QString::number(program_->tcpB.LocalPort());
            names_[u"%web"_s] = program_->webServer.Location();
        }
        ShowPage(page);
    }

    void Restart() {
        const QString page = Front()->objectName();
        window_.reset();
        ScriptedOperator op;
        QCoro::waitFor(program_->Close(op));
        Begin(page);
    }

    QString BoxOf(const QString& title) {
        if (title == u"status") return QString::fromStdString(Seen(window_->statusBar()));
        if (title == u"dialog") return QString::fromStdString(Seen(QApplication::activeModalWidget()));
        for (const QGroupBox* box : Front()->findChildren<QGroupBox*>())
            if (box->title() == title) return QString::fromStdString(Seen(box));
        return title == u"page" ? QString::fromStdString(Seen(Front())) : u"no such box"_s;
    }

    /// What is in the rows, what is chosen in them included.
    QString TableOf(const QString& name) {
        const auto* table = Named<QTableWidget>(name);
        QStringList rows;
        for (int row = 0; row < table->rowCount(); ++row) {
            QStringList texts;
            for (int column = 0; column < table->columnCount(); ++column) {
                const auto* choice = qobject_cast<QComboBox*>(table->cellWidget(row, column));
                const auto* item = table->item(row, column);
                texts += choice != nullptr ? choice->currentText() : item != nullptr ? item->text() : u""_s;
            }
            if (!texts.join(u""_s).isEmpty()) rows += u"%1: %2"_s.arg(row + 1).arg(texts.join(u", "_s));
        }
        return rows.join(u" / "_s);
    }

    QString PicturesShown() {
        QStringList sizes;
        for (const QLabel* label : Front()->findChildren<QLabel*>()) {
            const QPixmap picture = label->pixmap(Qt::ReturnByValue);
            if (!picture.isNull()) sizes += u"%1 x %2"_s.arg(picture.width()).arg(picture.height());
        }
        return sizes.join(u", "_s);
    }

    QString StyleOf(const QString& name) {
        for (const QLabel* label : Front()->findChildren<QLabel*>())
            if (label->accessibleName() == name) return label->styleSheet();
        return u"no such label"_s;
    }

    QString ListOf(const QString& name) {
        QStringList entries;
        for (int i = 0; i < Named<QComboBox>(name)->count(); ++i)
            entries += Named<QComboBox>(name)->itemText(i);
        return entries.join(u", "_s);
    }

    QString Selected(const QString& query) {
        QStringList rows;
        for (const std::string& row : Rows(program_->database.databasePath(), query.toStdString()))
            rows += QString::fromStdString(row);
        return rows.join(u" / "_s);
    }

    QString FilesChanged() {
        const bool same = folder.Entries() == files_ && folder.Read(u"vrq1.db3"_s) == content_;
        return same ? u"no"_s : u"yes"_s;
    }

    ChartView* Chart() { return Front()->findChild<ChartView*>(); }

    void PointAt(const QString& stamp) {
        QEvent leave(QEvent::Leave);
        if (stamp.isEmpty()) return (void)QApplication::sendEvent(Chart(), &leave);
        const auto time = static_cast<double>(ParseStamp(stamp.toStdString()).value());
        const QPointF place(Chart()->xAxis->coordToPixel(time), 100);
        QMouseEvent move(QEvent::MouseMove, place, place, Qt::NoButton, Qt::NoButton, {});
        QApplication::sendEvent(Chart(), &move);
    }

    /// What the chart says in place of its curves, once a second has passed.
    QString ChartText() {
        clock.AdvanceSeconds(1);
        for (int i = 0; i < Chart()->itemCount(); ++i)
            if (const auto* text = qobject_cast<QCPItemText*>(Chart()->item(i))) return text->text();
        return {};
    }

    /// Its first and last day; the one on which the test runs is "today".
    QString Span() {
        const auto day = [](WallTime time) { return QString::fromStdString(StampText(time)).first(10); };
        QString span = day(Chart()->From()) + u" to "_s + day(Chart()->To() - 1);
        for (const QDate today : {begun_, QDate::currentDate()})
            span.replace(today.toString(Qt::ISODate), u"today"_s);
        return span;
    }

    void Expect(const QString& asked, const QString& expected) {
        const QString kind = asked.section(u' ', 0, 0);
        ASSERT_TRUE(questions_.contains(kind)) << kind.toStdString();
        const QRegularExpression pattern(
            QRegularExpression::anchoredPattern(
                QRegularExpression::escape(expected).replace(QRegularExpression::escape(u"…"_s), u".*"_s)),
            QRegularExpression::DotMatchesEverythingOption);
        QString found;
        if (SpinUntil([&] {
                found = questions_.at(kind)(asked.section(u' ', 1));
                for (const auto& [name, value] : names_)
                    if (!value.isEmpty()) found.replace(value, name);
                return pattern.match(found).hasMatch();
            }))
            return;
        EXPECT_EQ(found.toStdString(), expected.toStdString());
    }

    const std::map<QString, Verb> verbs_ = {
        {u"preset"_s,
         [this](auto& what, auto& value) { Preset(what.section(u' ', 1), value, what.section(u' ', 0, 0)); }},
        {u"open"_s, [this](auto& page, auto&) { Begin(page); }},
        {u"restart"_s, [this](auto&, auto&) { Restart(); }},
        {u"press"_s,
         [this](auto& name, auto&) {
             QTest::mouseClick(Named<QAbstractButton>(name), Qt::LeftButton, {}, QPoint(8, 8));
         }},
        {u"enter"_s, [this](auto& name, auto& text) { Enter(Front()->objectName(), name, text); }},
        {u"type"_s, [this](auto& name, auto& text) { Type(name, text); }},
        {u"pick"_s, [this](auto& name, auto& text) { Pick(name, text); }},
        {u"count"_s, [this](auto& name, auto& count) { Named<QSpinBox>(name)->setValue(count.toInt()); }},
        {u"day"_s,
         [this](auto& name, auto& day) {
             Named<QDateEdit>(name)->setDate(QDate::fromString(day, Qt::ISODate));
         }},
        {u"row"_s,
         [this](auto& name, auto& row) { Named<QTableWidget>(name)->setCurrentCell(row.toInt() - 1, 0); }},
        {u"return"_s, [this](auto& text, auto&) { Pass(Return, text); }},
        {u"escape"_s, [this](auto& text, auto&) { Pass(Escape, text); }},
        {u"yes"_s, [this](auto& text, auto&) { Pass(Yes, text); }},
        {u"no"_s, [this](auto& text, auto&) { Pass(No, text); }},
        {u"cancel"_s, [this](auto& text, auto&) { Pass(Cancel, text); }},
        {u"reply"_s, [this](auto& text, auto&) { Reply(text); }},
        {u"file"_s, [this](auto& name, auto&) { EnterFile(folder.Path(name)); }},
        {u"write"_s, [this](auto& name, auto& text) { folder.Write(name, text.toStdString()); }},
        {u"remove"_s, [this](auto& name, auto&) { EXPECT_TRUE(QFile::remove(folder.Path(name))); }},
        {u"picture"_s,
         [this](auto& name, auto& size) {
             const QImage image(size.section(u' ', 0, 0).toInt(), size.section(u' ', 1).toInt(),
                                QImage::Format_RGB32);
             EXPECT_TRUE(image.save(folder.Path(name)));
         }},
        {u"set"_s,
         [this](auto& what, auto& value) {
             KeepByKey(program_->settings, what.section(u' ', 1), value, what.section(u' ', 0, 0));
         }},
        {u"sql"_s,
         [this](auto& what, auto& value) {
             const std::string sql = (value.isEmpty() ? what : what + u" = "_s + value).toStdString();
             EXPECT_TRUE(SpinUntil([&] { return program_->database.Run(sql).Ok(); })) << sql;
         }},
        {u"use"_s,
         [this](auto& name, auto&) {
             EXPECT_TRUE(CreateTables(folder.Path(name).toStdString()));
             program_->database.UseFile(folder.Path(name).toStdString());
         }},
        {u"key"_s, [this](auto& key, auto&) { QTest::keySequence(window_.get(), QKeySequence(key)); }},
        {u"point"_s, [this](auto& stamp, auto&) { PointAt(stamp); }},
        {u"adopted"_s, [this](auto&, auto&) { Q_EMIT program_->databaseFiles.Adopted(); }},
        {u"burst"_s, [this](auto& statement, auto&) { Write(statement); }},
        {u"lock"_s,
         [this](auto&, auto&) {
             reader_.emplace(CaptureDatabase::OpenFile(program_->database.databasePath(), false));
             EXPECT_TRUE(SpinUntil([this] { return reader_->GetTable("BEGIN EXCLUSIVE").Ok(); }));
         }},
        {u"unlock"_s, [this](auto&, auto&) { reader_.reset(); }},
        {u"remember"_s,
         [this](auto&, auto&) {
             files_ = folder.Entries();
             content_ = folder.Read(u"vrq1.db3"_s);
         }},
        {u"hear"_s, [this](auto& seconds, auto& pulses) { Hear(seconds, pulses); }},
        {u"hold"_s,
         [this](auto& port, auto&) {
             EXPECT_TRUE(holder_.listen(QHostAddress::Any, port.toUShort()));
             names_[u"%held"_s] = QString::number(holder_.serverPort());
         }},
        {u"release"_s, [this](auto&, auto&) { holder_.close(); }},
        {u"call"_s, [this](auto& port, auto&) { caller_ = std::make_unique<FarEnd>(port.toUShort()); }},
        {u"send"_s, [this](auto&, auto&) { caller_->Send("x"); }},
        {u"hang-up"_s, [this](auto&, auto&) { caller_->Close(); }},
        {u"wait"_s,
         [this](auto& seconds, auto&) { clock.Advance(static_cast<int>(1000 * seconds.toDouble())); }},
        {u"browser"_s,
         [this](auto& on, auto&) { browser_ = on == u"on" ? std::make_unique<StandInBrowser>() : nullptr; }},
    };

    const std::map<QString, Question> questions_ = {
        {u"@"_s, [this](auto& title) { return BoxOf(title); }},
        {u"~"_s,
         [this](auto& title) {
             clock.AdvanceSeconds(1);
             return BoxOf(title);
         }},
        {u"kept"_s,
         [this](auto& what) {
             return KeptByKey(program_->settings, what.section(u' ', 1), u"-"_s, what.section(u' ', 0, 0));
         }},
        {u"rows"_s, [this](auto& query) { return Selected(query); }},
        {u"table"_s, [this](auto& name) { return TableOf(name); }},
        {u"missing"_s, [this](auto& name) { return QVariant(!QFile::exists(folder.Path(name))).toString(); }},
        {u"list"_s, [this](auto& name) { return ListOf(name); }},
        {u"text"_s, [this](auto& name) { return Named<QLineEdit>(name)->text(); }},
        {u"label"_s,
         [this](auto& name) {
             const auto* label = Named<QLabel>(name);
             return label->isVisible() ? label->text() : QString();
         }},
        {u"cell"_s,
         [this](auto& place) {
             const auto* model = Front()->findChild<QTableView*>()->model();
             return model->index(place.section(u' ', 0, 0).toInt(), place.section(u' ', 1).toInt())
                 .data()
                 .toString();
         }},
        {u"content"_s, [this](auto& name) { return QString::fromStdString(folder.Read(name)); }},
        {u"chart"_s, [this](auto&) { return ChartText(); }},
        {u"span"_s, [this](auto&) { return Span(); }},
        {u"enlarged"_s,
         [this](auto& name) {
             return QString::number(QImage(folder.Path(name)).width() / double(Chart()->width()));
         }},
        {u"style"_s, [this](auto& name) { return StyleOf(name); }},
        {u"on"_s,
         [this](auto& name) { return QVariant(Named<QAbstractButton>(name)->isEnabled()).toString(); }},
        {u"box"_s, [](auto&) { return Box() == nullptr ? QString() : Box()->text(); }},
        {u"pictures"_s, [this](auto&) { return PicturesShown(); }},
        {u"changed"_s, [this](auto&) { return FilesChanged(); }},
        {u"target"_s, [this](auto&) { return QString::number(program_->commands.Target().slot); }},
        {u"opened"_s, [this](auto&) { return browser_->opened; }},
    };

    const QDate begun_ = QDate::currentDate();
    std::map<QString, QString> names_;
    std::unique_ptr<StandInBrowser> browser_;
    QTcpServer holder_;
    std::unique_ptr<FarEnd> caller_;
    std::optional<CaptureDatabase::Connection> reader_;
    std::vector<std::string> files_;
    std::string content_;
};

TEST_P(PagesTest, ShowWhatHappened) {
    for (const DataLine& line : GetParam().lines) {
        Play(line);
        if (HasFailure()) return;  // what follows would fail, too, and slowly
    }
}

INSTANTIATE_TEST_SUITE_P(Window, PagesTest, testing::ValuesIn(SectionsOf()),
                         [](const auto& section) { return section.param.title; });

}  // namespace
}  // namespace corvane
