#include "store/error_log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

#include <utility>

#include "base/clock.h"
#include "base/operator.h"
#include "store/line_file.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QString OnOneLine(QString text) {
    return text.replace(u'\t', u' ').replace(u'\r', u' ').replace(u'\n', u' ');
}

}  // namespace

ErrorLog::ErrorLog(QString folder, QString applicationName, const Clock& clock)
    : folder_(std::move(folder)), applicationName_(std::move(applicationName)), clock_(clock) {}

QString ErrorLog::Path() const {
    return QDir(folder_).filePath(u"Errors"_s + applicationName_ + u".log"_s);
}

void ErrorLog::LogError(int number, const QString& description, const QString& context) {
    const QString time = QString::fromStdString(DateTimeText(clock_.Now()));
    const QString what = OnOneLine(description);
    const QString where = OnOneLine(context);
    waiting_.push_back({.text = QStringList{QString::number(number), what, where, time}.join(u'\t'),
                        .older = time + u' ' + what + u", "_s + where});
    while (!waiting_.empty() && Write(waiting_.front()))
        waiting_.pop_front();
    if (waiting_.size() > kMostWaiting) waiting_.pop_front();
}

bool ErrorLog::Write(const Line& line) const {
    return AppendLine(Path(), line.text, kMostBytes) ||
           AppendLine(QDir(folder_).filePath(u"errorLog.txt"_s), line.older, kMostBytes);
}

ErrorLog::Listing ErrorLog::Load() const {
    Listing listing;
    for (const QString& path : {OlderFile(Path()), Path()}) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) continue;
        QTextStream text(&file);
        while (!text.atEnd() && listing.lines.size() < kLinesListed)
            listing.lines.append(text.readLine());
    }
    if (listing.lines.size() == kLinesListed) {
        // The folder and "Errors" stand without a separator in this message, on purpose.
        listing.message = u"File is too large. Use notepad to view file: "_s + folder_ + u"Errors"_s +
                          applicationName_ + u".log"_s;
    }
    return listing;
}

QStringList ErrorLog::LastLines(qsizetype most) const {
    const QStringList lines = LastLinesOf(Path(), most);
    return LastLinesOf(OlderFile(Path()), most - lines.size()) + lines;
}

QCoro::Task<Outcome> ErrorLog::Delete(Operator& op) {
    QStringList files;
    for (const QString& path : {OlderFile(Path()), Path()}) {
        const QFileInfo file(path);
        if (file.exists())
            files.append(u"%1, %2 bytes\n"_s.arg(file.fileName(), QString::number(file.size())));
    }
    const bool sure = co_await op.AskYesNo(
        files.join(QString()) +
        u"\nAre you sure you want to delete the \"Error Log Fille\" containing the current list of errors?"_s);
    if (!sure) co_return Outcome::Success();
    for (const QString& path : {OlderFile(Path()), Path()}) {
        QFile file(path);
        if (file.exists() && !file.remove()) co_return Outcome::Failure(path + u": "_s + file.errorString());
    }
    co_return Outcome::Success();
}

}  // namespace corvane
