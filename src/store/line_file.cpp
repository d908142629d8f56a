#include "store/line_file.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>
#include <cstdio>
#include <limits>

#include "store/app_folder.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 kPieceOfFile = 1 << 16;

}  // namespace

QString OlderFile(const QString& path) {
    const QFileInfo file(path);
    return file.dir().filePath(u"%1.1.%2"_s.arg(file.completeBaseName(), file.suffix()));
}

bool AppendLine(const QString& path, const QString& line, qint64 mostBytes) {
    const QByteArray bytes = (line + u'\n').toUtf8();
    const qint64 before = QFileInfo(path).size();
    if (before > 0 && before + bytes.size() > mostBytes &&
        std::rename(QFile::encodeName(path).constData(), QFile::encodeName(OlderFile(path)).constData()) != 0)
        return false;
    QFile file(path);
    return file.open(QIODevice::Append, kForOwner) && file.write(bytes) == bytes.size() && file.flush();
}

bool AppendToLastLines(const QString& path, const QString& line, qsizetype mostLines) {
    if (!AppendLine(path, line, std::numeric_limits<qint64>::max())) return false;
    QStringList lines = LastLinesOf(path, mostLines + 1);
    if (lines.size() <= mostLines) return true;
    lines.removeFirst();
    QSaveFile shorter(path);
    if (!shorter.open(QIODevice::WriteOnly)) return false;
    shorter.setPermissions(kForOwner);
    shorter.write((lines.join(u'\n') + u'\n').toUtf8());
    return shorter.commit();
}

QStringList LastLinesOf(const QString& path, qsizetype most) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    QByteArray end;
    qint64 start = file.size();
    while (start > 0 && end.count('\n') <= most) {
        const qint64 piece = std::min(start, kPieceOfFile);
        start -= piece;
        file.seek(start);
        end.prepend(file.read(piece));
    }
    QStringList lines = QString::fromUtf8(end).split(u'\n');
    if (lines.last().isEmpty()) lines.removeLast();
    return lines.last(std::min(lines.size(), most));
}

}  // namespace corvane
