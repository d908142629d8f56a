#include "store/channel_labels.h"

#include <algorithm>
#include <string>

#include "base/number_entry.h"
#include "store/capture_database.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

// The columns of the table are named by channel and text.
constexpr std::array<const char*, kChannelTexts> kColumnEnds = {"alias", "image", "desc"};

// Found whatever the column is declared as. A file of others may have any number of rows beside them.
constexpr const char* kRowsOfSlots = " FROM applicationinfo WHERE id IN ('1','2','3','4','5','6') LIMIT 100";

std::string Column(std::size_t channel, ChannelText which) {
    return ChannelColumn(channel, kColumnEnds[static_cast<std::size_t>(which)]);
}

}  // namespace

QString GivenLabel(const QString& stored) {
    QString label = stored.trimmed();
    return label == QLatin1StringView(kNoLabel) ? QString() : label;
}

std::optional<std::map<int, ChannelLabels>> ReadStoredLabels(const CaptureDatabase& database) {
    const std::string columns = ChannelColumns("alias");
    const QueryResult result = database.Run("SELECT CAST(id AS INTEGER)," + columns + kRowsOfSlots);
    if (!result.Ok()) return std::nullopt;
    std::map<int, ChannelLabels> labels;
    for (const auto& row : result.rows) {
        const auto slot = ParseInteger<int>(row.front().value_or(""));
        if (!slot) continue;
        ChannelLabels& texts = labels[*slot];
        for (std::size_t i = 0; i < kChannels; ++i)
            texts[i] = QString::fromStdString(row[i + 1].value_or(""));
    }
    return labels;
}

std::map<int, ChannelLabels> ReadChannelLabels(const CaptureDatabase& database) {
    std::map<int, ChannelLabels> labels = ReadStoredLabels(database).value_or(std::map<int, ChannelLabels>());
    for (auto& [slot, texts] : labels)
        std::ranges::transform(texts, texts.begin(), GivenLabel);
    return labels;
}

std::optional<std::array<ChannelTexts, kChannels>> ReadChannelTexts(const CaptureDatabase& database,
                                                                    int slot) {
    std::string statement = "SELECT ";
    for (std::size_t i = 0; i < kChannels * kChannelTexts; ++i) {
        statement += i == 0 ? "" : ", ";
        statement += Column(i / kChannelTexts, static_cast<ChannelText>(i % kChannelTexts));
    }
    statement += " FROM applicationinfo WHERE id = '" + std::to_string(slot) + "'";
    const QueryResult result = database.Run(statement);
    if (!result.Ok()) return std::nullopt;
    std::array<ChannelTexts, kChannels> texts;
    if (result.rows.empty()) return texts;
    for (std::size_t i = 0; i < kChannels * kChannelTexts; ++i) {
        const std::string cell = result.rows.front()[i].value_or("");
        texts[i / kChannelTexts][i % kChannelTexts] = QString::fromStdString(cell);
    }
    for (ChannelTexts& channel : texts) {
        QString& label = channel[static_cast<std::size_t>(ChannelText::Label)];
        label = GivenLabel(label);
    }
    return texts;
}

Outcome SaveChannelText(const CaptureDatabase& database, int slot, std::size_t channel, ChannelText which,
                        const QString& text) {
    std::string statement = "UPDATE applicationinfo SET ";
    statement += Column(channel, which);
    statement += " = ";
    statement += SqlQuoted(text.toStdString());
    statement += " WHERE id = '" + std::to_string(slot) + "' RETURNING id";
    const QueryResult saved = database.Run(statement);
    if (!saved.Ok()) {
        return Outcome::Failure(u"The text could not be saved: "_s + QString::fromStdString(saved.errorText));
    }
    if (saved.rows.empty()) {
        return Outcome::Failure(
            u"This device has no row in the database yet. Enter its serial number first."_s);
    }
    return Outcome::Success();
}

Outcome SaveChannelLabels(const CaptureDatabase& database, int slot, const ChannelLabels& labels) {
    std::string statement = "UPDATE applicationinfo SET ";
    for (std::size_t i = 0; i < kChannels; ++i) {
        statement += i == 0 ? "" : ",";
        statement += Column(i, ChannelText::Label);
        statement += '=';
        statement += SqlQuoted(labels[i].toStdString());
    }
    statement += " WHERE id = '" + std::to_string(slot) + "'";
    const QueryResult saved = database.Run(statement);
    if (saved.Ok()) return Outcome::Success();
    return Outcome::Failure(u"The names could not be saved: "_s + QString::fromStdString(saved.errorText));
}

}  // namespace corvane
