#include "store/db_writer.h"

#include <QCoroSignal>
#include <QElapsedTimer>

#include <algorithm>
#include <system_error>
#include <utility>

#include "base/clock.h"
#include "base/local_time.h"
#include "base/number_entry.h"
#include "store/capture_database.h"
#include "store/error_log.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr int kMostAtATime = 100;            // statements that the thread is handed
constexpr std::int64_t kLongestUnseen = 20;  // ms that it works before it tells how far it is

}  // namespace

Outcome CheckWriteFrequency(QString& text, const SettingValues&) {
    const auto seconds = NumberEntry(text);
    if (!seconds.has_value()) return Outcome::Failure(u"Must be a numeric value"_s);
    if (*seconds < kWriteFrequency.least || *seconds > kWriteFrequency.most) {
        // The text says 3 where 1 is accepted; both stand.
        return Outcome::Failure(u"Not within acceptable range of 3 to 60 seconds"_s);
    }
    const auto whole = SettingNumber(kWriteFrequency, text);
    if (!whole) return Outcome::Failure(u"Must be a whole number of seconds"_s);
    text = QString::number(*whole);
    return Outcome::Success();
}

DbWriter::DbWriter(CaptureDatabase& database, SettingsStore& settings, ErrorLog& errorLog, Clock& clock)
    : database_(database), settings_(settings), errorLog_(errorLog), clock_(clock) {
    LoadEnabled();
    LoadFrequency();
    connect(&clock, &Clock::SecondPassed, this, &DbWriter::Timer6);
    connect(&settings, &SettingsStore::Changed, this, [this](const QString&, const QString& key) {
        if (IsKeyOf(kDatabaseEnabled, key)) LoadEnabled();
        if (IsKeyOf(kWriteFrequency, key)) LoadFrequency();
    });
}

void DbWriter::LoadEnabled() {
    enabled_ = settings_.IsOn(kDatabaseEnabled);
}

void DbWriter::LoadFrequency() {
    writeFrequency_ = static_cast<std::uint8_t>(settings_.Number(kWriteFrequency));
}

void DbWriter::WriteSQL(const std::string& statement) {
    if (closed_) return GiveUp(statement);
    if (const auto replaced = buffer_.Append(statement + ";")) {
        lastDbMessage_ = u"  DB Pointer at MAX = "_s + QString::number(DbBuffer::kMax);
        errorLog_.LogError(0, u"The queue of the database is full; a record was given up."_s, lastDbMessage_);
        GiveUp(*replaced, u"The queue of the database is full"_s);
    }
    if (writeCountdown_ == 0 && !maintenanceBusy_) Burst();
}

QCoro::Task<bool> DbWriter::Drain(int patience) {
    for (int tries = 0; tries <= patience; ++tries) {
        if (tries > 0) co_await qCoro(&clock_, &Clock::SecondPassed);
        if (bursting_) co_await qCoro(this, &DbWriter::BurstEnded);
        ForceNextBurst();
        if (tries == 0 || !locked_)
            WriteSQL("");
        else
            Burst();
        if (bursting_) co_await qCoro(this, &DbWriter::BurstEnded);
        if (buffer_.UnwrittenRecords() == 0) co_return true;
        if (failed_ && !locked_) co_return false;
    }
    co_return false;
}

QCoro::Task<Outcome> DbWriter::WriteBeforeChange() {
    if (maintenanceBusy_) {
        co_return Outcome::Failure(
            u"Other work on the database is still running; try again when it has ended."_s);
    }
    const bool written = co_await Drain(0);
    if (written || !locked_) co_return Outcome::Success();
    co_return Outcome::Failure(
        u"%1 is locked by another program, and the last records belong into it. It stays in use; try again "
        "when it is free."_s.arg(QString::fromStdString(database_.databasePath())));
}

QCoro::Task<> DbWriter::GiveUpAll() {
    closed_ = true;
    if (bursting_) co_await qCoro(this, &DbWriter::BurstEnded);
    const QString why = lastDbMessage_.isEmpty() ? u"The program ended"_s : lastDbMessage_;
    std::vector<QueuedStatement> statements;
    while (buffer_.Pointer() > 0)
        statements.push_back(buffer_.TakeNewest());
    std::ranges::reverse(statements);
    for (const QueuedStatement& statement : statements)
        GiveUp(statement, why);
}

void DbWriter::GiveUp(const std::string& statement) {
    GiveUp({.sql = statement + ";"}, lastDbMessage_);
}

void DbWriter::GiveUp(const QueuedStatement& statement, const QString& why) {
    if (DbBuffer::IsUnwritten(statement)) Q_EMIT GivenUp(statement.sql, why);
}

/// Begins a burst, unless one is under way: that one takes along what has come meanwhile.
void DbWriter::Burst() {
    if (std::exchange(bursting_, true)) return;
    BurstOn();
}

/// Hands the next statements to the thread: all but the newest, or that one where it is alone.
void DbWriter::BurstOn() {
    const int count = std::clamp(buffer_.Pointer() - 1, 1, kMostAtATime);
    std::vector<std::string> statements;
    statements.reserve(static_cast<std::size_t>(count));
    for (int slot = 1; slot <= count; ++slot)
        statements.push_back(buffer_.Slot(slot));
    const bool alone = buffer_.Pointer() == 1;
    const auto write = [this, alone, path = database_.databasePath(), statements = std::move(statements)] {
        Written written = WriteInTurn(path, statements);
        written.alone = alone;
        QMetaObject::invokeMethod(
            this, [this, written] { Note(written); }, Qt::QueuedConnection);
    };
    try {
        thread_ = std::jthread(write);
    } catch (const std::system_error&) {
        write();  // no memory for a thread: slower for everything else, but nothing is lost
    }
}

DbWriter::Written DbWriter::WriteInTurn(const std::string& path, const std::vector<std::string>& statements) {
    Written written;
    QElapsedTimer time;
    time.start();
    for (const std::string& statement : statements) {
        const auto connection = CaptureDatabase::OpenFile(path, false);
        written.opened = static_cast<bool>(connection);
        if (!written.opened) break;
        written.errorText = connection.GetTable(statement).errorText;
        if (!written.errorText.empty()) break;
        ++written.executed;
        if (time.elapsed() >= kLongestUnseen) break;
    }
    return written;
}

/// Takes note of what the thread came to, and goes on where there is more.
void DbWriter::Note(const Written& written) {
    thread_ = {};
    for (int i = 0; i < written.executed; ++i)
        NoteSuccess(written.alone);
    locked_ = written.errorText == QueryResult::kLocked;
    opened_ = written.opened;
    failed_ = !opened_ || !written.errorText.empty();
    if (!written.errorText.empty()) NoteFailure(written.errorText);
    if (written.executed > 0) lastStored_ = {.time = clock_.Now(), .at = clock_.Monotonic()};
    if (failed_) {
        const std::int64_t since = failing_.has_value() ? failing_->since : clock_.Monotonic();
        failing_ = {.words = opened_ ? written.errorText : kNotOpened, .since = since};
    } else {
        failing_.reset();
    }
    if (!failed_ && !written.alone && buffer_.Pointer() > 1 && !maintenanceBusy_ && !closed_) {
        BurstOn();
        return;
    }
    bursting_ = false;
    Q_EMIT BurstEnded();
}

/// A statement was executed. One that was alone stays in slot 1, whatever has come meanwhile.
void DbWriter::NoteSuccess(bool alone) {
    indicator_ = Indicator::Green;
    indicatorText_ = u"DB Write OK"_s;
    if (alone) {
        buffer_.MarkOldestExecuted();
    } else {
        buffer_.DropOldest();
    }
    if (!alone && buffer_.Pointer() >= 2) {
        writeState_ = u"Writing to database"_s;
    } else {
        writeCountdown_ = writeFrequency_;
    }
}

void DbWriter::NoteFailure(const std::string& errorText) {
    lastDbMessage_ = QString::fromStdString(errorText);
    indicator_ = Indicator::Yellow;
    indicatorText_.clear();
    if (locked_) return;  // the whole queue is tried again at the next call
    // The failed statement stays in slot 1 to be tried again, and the newest is given up for it.
    GiveUp(buffer_.TakeNewest(), lastDbMessage_);
    databaseMessage_ = QString::fromStdString(DateMinuteText(clock_.Now())) + u"   "_s + lastDbMessage_;
}

void DbWriter::Timer6() {
    if (writeCountdown_ > 0) --writeCountdown_;
    writeState_ = writeCountdown_ > 0 ? u"DB write in %1 seconds."_s.arg(writeCountdown_)
                                      : u"Preparing to write to db"_s;
}

QString DbWriter::EnabledText() const {
    return enabled_ ? u"Database is Enabled"_s : u"Database is Disabled"_s;
}

QString DbWriter::WaitText() const {
    if (locked_) return u"The database file is locked by another program; records wait."_s;
    return opened_ ? QString() : u"The database file cannot be opened; records wait."_s;
}

QString DbWriter::BufferText() const {
    return u"DB Buffer = "_s + QString::number(buffer_.Pointer() - 1);
}

}  // namespace corvane
