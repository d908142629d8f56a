#include "measure/channel_labels.h"

#include <string>

#include "store/capture_database.h"

namespace corvane {

std::map<int, ChannelLabels> ReadChannelLabels(const CaptureDatabase& database) {
    std::map<int, ChannelLabels> labels;
    const QueryResult result = database.Run(
        "SELECT id, ch1alias, ch2alias, aux1alias, aux2alias, aux3alias, aux4alias, aux5alias FROM "
        "applicationinfo");
    for (const auto& row : result.rows) {
        ChannelLabels& texts = labels[std::stoi(row.front().value_or("0"))];
        for (std::size_t i = 0; i < kChannels; ++i)
            texts[i] = QString::fromStdString(row[i + 1].value_or(""));
    }
    return labels;
}

}  // namespace corvane
