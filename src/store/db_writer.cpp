#include "store/db_writer.h"

#include "base/clock.h"
#include "base/local_time.h"
#include "base/number_entry.h"
#include "store/capture_database.h"
#include "store/error_log.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

Outcome CheckWriteFrequency(QString& text, const SettingValues&) {
    const auto seconds = NumberEntry(text);
    if (!seconds.has_value()) return Outcome::Failure(u"Must be a numeric value"_s);
    if (*seconds < kWriteFrequency.least || *seconds > kWriteFrequency.most) {
        // The text says 3 where 1 is accepted; both stand.
        return Outcome::Failure(u"Not within acceptable range of 3 to 60 seconds"_s);
    }
    text = QString::number(static_cast<int>(*seconds));
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
    if (!buffer_.Append(statement + ";")) {
        lastDbMessage_ = u"  DB Pointer at MAX = "_s + QString::number(DbBuffer::kMax);
        errorLog_.LogError(0, u"The queue of the database is full; a record was lost."_s, lastDbMessage_);
    }
    if (writeCountdown_ == 0 && !maintenanceBusy_) Burst();
}

void DbWriter::Flush() {
    ForceNextBurst();
    WriteSQL("");
}

void DbWriter::Burst() {
    do {
        const auto connection = database_.Open();
        if (!connection) return;  // the queue waits for the next call
        const QueryResult result = connection.GetTable(buffer_.Oldest());
        if (!result.Ok()) {
            NoteFailure(result.errorText);
            return;
        }
        indicator_ = Indicator::Green;
        indicatorText_ = u"DB Write OK"_s;
        if (buffer_.Pointer() > 1) buffer_.DropOldest();
        if (buffer_.Pointer() >= 2) {
            writeState_ = u"Writing to database"_s;
        } else {
            writeCountdown_ = writeFrequency_;
        }
    } while (buffer_.Pointer() > 1);
}

void DbWriter::NoteFailure(const std::string& errorText) {
    lastDbMessage_ = QString::fromStdString(errorText);
    indicator_ = Indicator::Yellow;
    indicatorText_.clear();
    if (errorText == "database is locked") return;  // the whole queue is tried again at the next call
    // The failed statement stays in slot 1 to be tried again, and the newest is given up for it.
    buffer_.GiveUpNewest();
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

QString DbWriter::BufferText() const {
    return u"DB Buffer = "_s + QString::number(buffer_.Pointer() - 1);
}

}  // namespace corvane
