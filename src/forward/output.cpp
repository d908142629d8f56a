#include "forward/output.h"

#include <QJsonArray>

#include <algorithm>

#include "base/status_board.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr std::size_t kShownLogLines = 5;

/// The last lines of a log box.
QStringList LastLines(const StatusBoard& log) {
    const auto& all = log.Lines();
    const auto shown = std::min(kShownLogLines, all.size());
    return {all.end() - static_cast<std::ptrdiff_t>(shown), all.end()};
}

}  // namespace

QString OnOff(bool on) {
    return on ? u"on"_s : u"off"_s;
}

OutputStatus FullStatus(const Output& output) {
    OutputStatus status = output.Status();
    status.data.insert(u"enabled"_s, output.Enabled());
    if (output.Log() == nullptr) return status;
    const QStringList log = LastLines(*output.Log());
    status.data.insert(u"log"_s, QJsonArray::fromStringList(log));
    for (QString line : log) {
        if (line.endsWith("\r\n"_L1)) line.chop(2);
        status.lines.append(u"    "_s + line.replace("\r\n"_L1, "\n    "_L1));
    }
    return status;
}

Output* OutputList::Find(const QString& word) const {
    const auto found = std::ranges::find_if(all_, [&word](const Output* output) {
        return word.compare(QLatin1StringView(output->Names().word), Qt::CaseInsensitive) == 0;
    });
    return found == all_.end() ? nullptr : *found;
}

OutputStatus OutputList::Status() const {
    OutputStatus all;
    for (const Output* output : all_) {
        const OutputStatus status = FullStatus(*output);
        all.lines += status.lines;
        const OutputNames& names = output->Names();
        const QString group = QString::fromLatin1(names.group);
        if (group.isEmpty()) {
            all.data.insert(QString::fromLatin1(names.word), status.data);
        } else {
            QJsonArray alike = all.data[group].toArray();
            alike.append(status.data);
            all.data.insert(group, alike);
        }
    }
    return all;
}

}  // namespace corvane
