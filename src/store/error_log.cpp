#include "store/error_log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

#include <algorithm>
#include <utility>

#include "base/clock.h"
#include "base/operator.h"
#include "store/app_folder.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 kPieceOfLog = 1 << 16;

bool AppendLine(const QString& path, const QString& line) {
    QFile file(path);
    const QByteArray bytes = (line + u'\n').toUtf8();
    return file.open(QIODevice::Append | QIODevice::Text, kForOwner) && file.write(bytes) == bytes.size() &&
           file.flush();
}

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
    if (AppendLine(Path(), QStringList{QString::number(number), what, where, time}.join(u'\t'))) return;
    AppendLine(QDir(folder_).filePath(u"errorLog.txt"_s), time + u' ' + what + u", "_s + where);
}

ErrorLog::Listing ErrorLog::Load() const {
    Listing listing;
    QFile file(Path());
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) return listing;
    QTextStream text(&file);
    while (!text.atEnd()) {
        listing.lines.append(text.readLine());
        if (listing.lines.size() == kLinesListed) {
            // The folder and "Errors" stand without a separator in this message, on purpose.
            listing.message = u"File is too large. Use notepad to view file: "_s + folder_ + u"Errors"_s +
                              applicationName_ + u".log"_s;
            break;
        }
    }
    return listing;
}

QStringList ErrorLog::LastLines(qsizetype most) const {
    QFile file(Path());
    if (!file.open(QIODevice::ReadOnly)) return {};
    QByteArray end;
    qint64 start = file.size();
    while (start > 0 && end.count('\n') <= most) {
        const qint64 piece = std::min(start, kPieceOfLog);
        start -= piece;
        file.seek(start);
        end.prepend(file.read(piece));
    }
    QStringList lines = QString::fromUtf8(end).split(u'\n');
    if (lines.last().isEmpty()) lines.removeLast();
    return lines.last(std::min(lines.size(), most));
}

QCoro::Task<Outcome> ErrorLog::Delete(Operator& op) {
    QFile file(Path());
    const bool sure = co_await op.AskYesNo(
        u"%1, %2 bytes\n\n"_s.arg(QFileInfo(file).fileName(), QString::number(file.size())) +
        u"Are you sure you want to delete the \"Error Log Fille\" containing the current list of errors?"_s);
    if (!sure || !file.exists() || file.remove()) co_return Outcome::Success();
    co_return Outcome::Failure(Path() + u": "_s + file.errorString());
}

}  // namespace corvane
