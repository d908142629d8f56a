#include "store/unwritten_records.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>

#include <unistd.h>

#include <algorithm>

#include "base/clock.h"
#include "store/app_folder.h"
#include "store/error_log.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr std::int64_t kBetweenLogs = 3'600'000;  // ms
constexpr qint64 kPiece = 1 << 16;

QString Records(std::int64_t count) {
    return count == 1 ? u"1 record"_s : u"%1 records"_s.arg(count);
}

}  // namespace

UnwrittenRecords::UnwrittenRecords(const QString& folder, ErrorLog& errorLog, Clock& clock,
                                   std::int64_t mostBytes)
    : path_(QDir(folder).filePath(u"unwritten.sql"_s)),
      errorLog_(errorLog),
      clock_(clock),
      mostBytes_(mostBytes) {
    CountFile();
    connect(&clock, &Clock::SecondPassed, this, [this] {
        if (inMemory_ > 0)
            Save();
        else
            Tell();
    });
}

/// An end without a line end is what a kill left of a statement: it is cut off, as it never was whole.
void UnwrittenRecords::CountFile() {
    bytesInFile_ = inFile_ = 0;
    QFile file(path_);
    if (!file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly)) return;
    for (QByteArray piece = file.read(kPiece); !piece.isEmpty(); piece = file.read(kPiece)) {
        inFile_ += std::ranges::count(piece, '\n');
        if (const auto end = piece.lastIndexOf('\n'); end >= 0)
            bytesInFile_ = file.pos() - piece.size() + end + 1;
    }
    if (file.size() > bytesInFile_) file.resize(bytesInFile_);
}

void UnwrittenRecords::Keep(const std::string& statement, const QString& why) {
    std::string line = statement;
    std::ranges::replace(line, '\n', ' ');
    const auto bytes = static_cast<std::int64_t>(line.size()) + 1;
    if (bytesInFile_ + static_cast<std::int64_t>(memory_.size()) + bytes > mostBytes_) {
        if (++lost_ == 1) {
            const QString full =
                u"%1 is full (%2 MiB): records that are given up are lost from now on."_s.arg(
                    path_, QString::number(mostBytes_ / (1024 * 1024)));
            errorLog_.LogError(0, full, u"Database"_s);
            Q_EMIT Told(full);
        }
        return;
    }
    if (why != why_) Log();
    why_ = why;
    memory_ += line;
    memory_ += '\n';
    ++untold_;
    if (++inMemory_ == 1) QMetaObject::invokeMethod(this, &UnwrittenRecords::Save, Qt::QueuedConnection);
}

void UnwrittenRecords::Tell() {
    if (why_ != toldWhy_ || clock_.Monotonic() - toldAt_ >= kBetweenLogs) Log();
}

void UnwrittenRecords::Log() {
    if (untold_ == 0) return;
    const QString text = u"%1 could not be written to the database and %2 kept in %3."_s.arg(
        Records(untold_), untold_ == 1 ? u"is"_s : u"are"_s, path_);
    errorLog_.LogError(0, text, why_);
    Q_EMIT Told(u"%1 (%2)"_s.arg(text, why_));
    toldWhy_ = why_;
    toldAt_ = clock_.Monotonic();
    untold_ = 0;
}

bool UnwrittenRecords::Save() {
    Tell();
    if (inMemory_ == 0) return true;
    QFile file(path_);
    if (!file.open(QIODevice::ReadWrite, kForOwner)) return false;
    const auto bytes = static_cast<qint64>(memory_.size());
    const bool written = file.seek(bytesInFile_) && file.write(memory_.data(), bytes) == bytes &&
                         file.flush() && fsync(file.handle()) == 0;
    if (!written) {
        file.close();  // which tries once more to write what it holds
        (void)(bytesInFile_ == 0 ? QFile::remove(path_)
                                 : QFile::resize(path_, bytesInFile_));  // whole statements
        return false;
    }
    bytesInFile_ += bytes;
    inFile_ += inMemory_;
    inMemory_ = 0;
    memory_.clear();
    memory_.shrink_to_fit();
    return true;
}

bool UnwrittenRecords::Forget(std::int64_t bytes) {
    QFile file(path_);
    if (bytes >= bytesInFile_) {
        if (!file.remove()) return false;
        CountFile();
        return true;
    }
    QSaveFile rest(path_);
    if (!file.open(QIODevice::ReadOnly) || !file.seek(bytes) || !rest.open(QIODevice::WriteOnly))
        return false;
    rest.setPermissions(kForOwner);
    for (QByteArray piece = file.read(kPiece); !piece.isEmpty(); piece = file.read(kPiece))
        rest.write(piece);
    if (!rest.commit()) return false;
    CountFile();
    return true;
}

QString UnwrittenRecords::StateText() const {
    QStringList parts;
    if (Count() > 0) parts.append(u"%1 could not be written to the database so far."_s.arg(Records(Count())));
    if (inMemory_ > 0)
        parts.append(u"%1 of them only in memory: %2 cannot be written."_s.arg(inMemory_).arg(path_));
    if (lost_ > 0) parts.append(u"%1 lost, as %2 is full."_s.arg(Records(lost_), path_));
    return parts.join(u' ');
}

}  // namespace corvane
