#include "store/error_log.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QLocale>
#include <QTextStream>

#include <utility>

#include "base/clock.h"
#include "base/operator.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

void AppendLine(const QString& path, const QString& line) {
    QFile file(path);
    if (!file.open(QIODevice::Append | QIODevice::Text)) return;
    file.write((line + u'\n').toUtf8());
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
    const auto now = QDateTime::fromSecsSinceEpoch(clock_.Now().unixSeconds);
    AppendLine(Path(), QString::number(number) + u'\t' + OnOneLine(description) + u'\t' + OnOneLine(context) +
                           u'\t' + QLocale::system().toString(now, QLocale::ShortFormat));
}

void ErrorLog::LogOld(const QString& first, const QString& second) {
    AppendLine(QDir(folder_).filePath(u"errorLog.txt"_s), OnOneLine(first) + u", "_s + OnOneLine(second));
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

QCoro::Task<Outcome> ErrorLog::Delete(Operator& op) {
    const bool sure = co_await op.AskYesNo(
        u"Are you sure you want to delete the \"Error Log Fille\" containing the current list of errors?"_s);
    QFile file(Path());
    if (!sure || !file.exists() || file.remove()) co_return Outcome::Success();
    co_return Outcome::Failure(Path() + u": "_s + file.errorString());
}

}  // namespace corvane
