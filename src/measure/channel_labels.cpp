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

Outcome SaveChannelLabels(const CaptureDatabase& database, int slot, const ChannelLabels& labels) {
    static constexpr std::array<const char*, kChannels> kColumns = {
        "ch1alias", "ch2alias", "aux1alias", "aux2alias", "aux3alias", "aux4alias", "aux5alias"};
    std::string statement = "UPDATE applicationinfo SET ";
    for (std::size_t i = 0; i < kChannels; ++i) {
        statement += i == 0 ? "" : ",";
        statement += kColumns[i];
        statement += '=';
        statement += SqlQuoted(labels[i].toStdString());
    }
    statement += " WHERE id = '" + std::to_string(slot) + "'";
    const QueryResult saved = database.Run(statement);
    if (saved.Ok()) return Outcome::Success();
    return Outcome::Failure(QStringLiteral("The names could not be saved: ") +
                            QString::fromStdString(saved.errorText));
}

}  // namespace corvane
