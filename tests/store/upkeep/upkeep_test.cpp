// What users do to their database files: `upkeep_test.txt`, played step by step.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <map>

#include "base/date_entry.h"
#include "store/settle_bursts.h"
#include "store/upkeep/database_files.h"
#include "store/upkeep/maintenance_fixture.h"
#include "support/data_lines.h"
#include "support/settings_by_key.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class UpkeepTest : public MaintenanceFixture, public testing::WithParamInterface<DataSection> {
protected:
    ~UpkeepTest() override {
        Locks(0);
        setfsuid(geteuid());
        // Whatever was done: records are written again, and the file in use is whole.
        const std::string used = database.databasePath();
        if (!QFile::exists(QString::fromStdString(used))) return;
        writer.WriteSQL("insert into monitordata_hourly(date) values ('afterwards')");
        EXPECT_TRUE(QCoro::waitFor(writer.Drain(0)));
        EXPECT_THAT(Rows(used, "SELECT date FROM monitordata_hourly"), testing::Contains("afterwards"));
        EXPECT_THAT(Rows(used, "PRAGMA integrity_check"), testing::ElementsAre("ok"));
    }

    void Play(const DataLine& line) {
        SCOPED_TRACE(line.place);
        QStringList steps = line.left.split(u" ; "_s);
        const QString last = steps.takeLast();
        for (const QString& step : steps)
            EXPECT_EQ(Do(step), "") << step.toStdString();
        EXPECT_EQ(Do(last), Filled(line.right).toStdString());
    }

private:
    [[nodiscard]] QString Filled(QString text) const {
        text.replace(u"{folder}"_s, folder.Path()).replace(u"{elsewhere}"_s, elsewhere.Path());
        return text.replace(u"¶"_s, u"\n"_s);
    }
    [[nodiscard]] std::string File(const QString& name) const {
        return QDir(folder.Path()).filePath(name).toStdString();
    }

    /// What a step comes to; empty where there is nothing to say.
    std::string Do(const QString& step) {
        const QString what = Filled(step.section(u' ', 1));
        const auto found = verbs_.find(step.section(u' ', 0, 0));
        if (found == verbs_.end()) return "there is no such verb";
        return found->second(what);
    }

    using Verb = std::function<std::string(const QString&)>;

    /// A verb that gets its first word and the rest.
    static Verb Two(const std::function<std::string(const QString&, const QString&)>& act) {
        return [act](const QString& what) { return act(what.section(u' ', 0, 0), what.section(u' ', 1)); };
    }
    static Verb Silent(const std::function<void(const QString&)>& act) {
        return [act](const QString& what) {
            act(what);
            return std::string();
        };
    }
    Verb Answering(Answer answer) {
        return Silent([this, answer](const QString& part) { op.WillAnswer(part.toStdString(), answer); });
    }
    void Enter(const QString& what) {
        const bool entered = what.contains(u" > "_s);
        op.WillEnter(what.section(u" > "_s, 0, 0).toStdString(),
                     entered ? std::optional(what.section(u" > "_s, 1)) : std::nullopt);
    }

    /// All of `texts` from the `seen`th on, which are seen then.
    template <typename Text>
    static std::string New(const std::vector<Text>& texts, std::size_t& seen, auto textOf) {
        QStringList fresh;
        for (; seen < texts.size(); ++seen)
            fresh.append(textOf(texts[seen]));
        return fresh.join(u" / "_s).toStdString();
    }
    static std::string Joined(const std::vector<std::string>& texts) {
        std::size_t seen = 0;
        return New(texts, seen, QString::fromStdString);
    }
    /// As it is called in the question.
    static QString SafeAnswer(const Question& question) {
        const QString& name = question.safe == Answer::Yes ? question.yes : question.no;
        return name.isEmpty() ? AnswerText(question.safe) : name;
    }
    static DataTable Table(const QString& name) {
        return name == u"hourly" ? DataTable::Hourly : DataTable::Minute;
    }
    /// Root, too, may only read it from now on, until the test ends.
    void MakeReadOnly(const QString& file) {
        QFile::setPermissions(folder.Path(), QFile::Permissions(0x7755));
        QFile::setPermissions(folder.Path(file), QFile::Permissions(0x4444));
        setfsuid(65534);
    }
    /// Whether the disk knows locks; else what it says of them.
    static void Locks(int error) {
        static int refusal;
        refusal = error;
        const auto refuse = [](int file, int command, auto argument) {
            errno = refusal;
            return command == F_SETLK ? -1 : fcntl(file, command, argument);
        };
        sqlite3_vfs* files = sqlite3_vfs_find(nullptr);
        int (*refused)(int, int, void*) = refuse;
        files->xSetSystemCall(files, "fcntl",
                              error == 0 ? nullptr : reinterpret_cast<sqlite3_syscall_ptr>(refused));
    }
    void Lock(const QString& file, const QString& statement) {
        lock_.emplace(CaptureDatabase::OpenFile(File(file), false));
        ASSERT_TRUE(lock_->GetTable(statement.toStdString()).Ok());
    }

    DatabaseFiles files_{database, settings, writer, backups, clock, folder.Path()};
    std::optional<CaptureDatabase::Connection> lock_;
    int adopted_ = 0;
    QMetaObject::Connection counting_ =
        QObject::connect(&files_, &DatabaseFiles::Adopted, &files_, [this] { ++adopted_; });
    int known_ = 0;
    std::vector<QString> noted_;
    QMetaObject::Connection looking_ =
        QObject::connect(&files_, &DatabaseFiles::TablesKnown, &files_, [this] { ++known_; });
    QMetaObject::Connection noting_ = QObject::connect(
        &files_, &DatabaseFiles::Noted, &files_, [this](const QString& text) { noted_.push_back(text); });
    std::size_t told_ = 0;
    std::size_t shown_ = 0;
    std::size_t asked_ = 0;

    const std::map<QString, Verb> verbs_ = {
        {u"yes"_s, Answering(Answer::Yes)},
        {u"no"_s, Answering(Answer::No)},
        {u"cancel"_s, Answering(Answer::Cancel)},
        {u"enter"_s, Silent([this](const QString& what) { Enter(what); })},
        {u"shown"_s, [this](auto&) { return New(op.Messages(), shown_, QString::fromStdString); }},
        {u"safe"_s, [this](auto&) { return New(op.Questions(), asked_, SafeAnswer); }},
        {u"sql"_s, Two([this](const QString& file, const QString& statement) {
             return Joined(Rows(File(file), statement.toStdString()));
         })},
        {u"queue"_s, Silent([this](const QString& text) {
             writer.WriteSQL(text.toStdString());
             SettleBursts(writer);
         })},
        {u"flush"_s, Silent([this](auto&) { EXPECT_TRUE(QCoro::waitFor(writer.Drain(0))); })},
        {u"seconds"_s, Silent([this](auto& count) { clock.AdvanceSeconds(count.toInt()); })},
        {u"noted"_s, [this](auto&) { return New(noted_, told_, [](const QString& text) { return text; }); }},
        {u"known"_s, [this](auto&) { return std::to_string(std::exchange(known_, 0)); }},
        {u"lock"_s, Two([this](const QString& file, const QString& statement) {
             Lock(file, statement);
             return std::string();
         })},
        {u"unlock"_s, Silent([this](auto&) { lock_.reset(); })},
        {u"files"_s, [this](auto&) { return Joined(folder.Entries()); }},
        {u"read"_s, [this](const QString& file) { return folder.Read(file); }},
        {u"write"_s, Two([this](const QString& file, const QString& bytes) {
             folder.Write(file, bytes.toStdString());
             return std::string();
         })},
        {u"remove"_s, Silent([this](auto& file) { QFile::remove(QString::fromStdString(File(file))); })},
        {u"link"_s, Two([this](const QString& name, const QString& file) {
             return QFile::link(QString::fromStdString(File(file)), folder.Path(name)) ? "" : "no link";
         })},
        {u"linked"_s, [this](auto& name) { return QFile::symLinkTarget(folder.Path(name)).toStdString(); }},
        {u"readonly"_s, Silent([this](const QString& file) { MakeReadOnly(file); })},
        {u"nolocks"_s, Silent([](const QString& error) { Locks(error.toInt()); })},
        {u"locks"_s, Silent([](auto&) { Locks(0); })},
        {u"mkdir"_s, Silent([this](const QString& name) { QDir(folder.Path()).mkpath(name); })},
        {u"make"_s, [this](const QString& file) { return CreateTables(File(file)).Error().toStdString(); }},
        {u"set"_s, Silent([this](const QString& what) {
             KeepByKey(settings, what.section(u' ', 1, 1), what.section(u' ', 2), what.section(u' ', 0, 0));
         })},
        {u"get"_s, [this](const QString& key) { return KeptByKey(settings, key).toStdString(); }},
        {u"rights"_s, [this](auto& file) { return Rights(QString::fromStdString(File(file))); }},
        {u"allow"_s, Two([this](const QString& rights, const QString& file) {
             return std::string(chmod(File(file).c_str(), rights.toUInt(nullptr, 8)) == 0 ? ""
                                                                                          : "not allowed");
         })},
        {u"name"_s, [this](QString name) { return files_.CheckName(name).Error().toStdString(); }},
        {u"partials"_s, Silent([this](auto&) { backups.RemovePartials(); })},
        {u"use"_s, Silent([this](const QString& file) {
             database.UseFile(file.isEmpty() ? std::string() : File(file));
         })},
        {u"used"_s, [this](auto&) { return database.databasePath(); }},
        {u"adopted"_s, [this](auto&) { return std::to_string(std::exchange(adopted_, 0)); }},

        {u"condense"_s, Two([this](const QString& first, const QString& last) {
             return Result(maintenance.Granulate(*ProperDate(first), *ProperDate(last), op));
         })},
        {u"delete"_s, Two([this](const QString& first, const QString& last) {
             return Result(maintenance.DeleteMinutes(*ProperDate(first), *ProperDate(last), op));
         })},
        {u"older"_s, [this](auto& days) { return Result(maintenance.DeleteOlderThan(days, op)); }},
        {u"empty"_s, [this](auto&) { return Result(maintenance.DeleteDBdata(op)); }},
        {u"outliers"_s, [this](auto& kwh) { return Result(maintenance.ZeroOutliers(kwh, op)); }},
        {u"types"_s, [this](auto& table) { return maintenance.TestColumnTypes(Table(table)).toStdString(); }},
        {u"repair"_s,
         [this](auto& table) {
             return Result(Table(table) == DataTable::Hourly ? maintenance.RepairHourlyTable(op)
                                                             : maintenance.RepairMinuteTable(op));
         }},
        {u"serials"_s, [this](auto&) { return Result(maintenance.RepairSerialNumbers(op)); }},
        {u"labels"_s, [this](auto&) { return Result(maintenance.ResetLabels(op)); }},
        {u"backup"_s, [this](auto&) { return Result(backups.BackupDBfile(op)); }},
        {u"backups"_s,
         [this](auto&) {
             QStringList paths;
             for (const int number : backups.Numbers())
                 paths.append(backups.PathOf(number));
             return paths.join(u" / "_s).toStdString();
         }},
        {u"restore"_s, [this](auto& number) { return Result(files_.RestoreBackup(number.toInt(), op)); }},
        {u"start"_s, [this](auto&) { return Result(files_.GetDBfile2(op)); }},
        {u"open"_s, [this](auto&) { return Result(files_.OpenDatabase(op)); }},
        {u"new"_s, [this](auto&) { return Result(files_.NewDatabase(op)); }},
        {u"create"_s,
         [this](const QString& target) {
             std::string error = Result(files_.CreateNewDB(target, op));
             if (!error.empty()) return error;
             return std::string(database.databasePath() == target.toStdString() ? "in use" : "not in use");
         }},
        {u"valid"_s, [this](auto&) { return std::string(files_.TestValidDBfile() ? "yes" : "no"); }},
        {u"check"_s,
         [this](auto& position) { return Result(files_.VerifyDBdeviceAdrs(position.toInt(), op)); }},
    };
};

TEST_P(UpkeepTest, Is) {
    for (const DataLine& line : GetParam().lines)
        Play(line);
}

INSTANTIATE_TEST_SUITE_P(Store, UpkeepTest, testing::ValuesIn(SectionsOf()),
                         [](const auto& section) { return section.param.title; });

}  // namespace
}  // namespace corvane
