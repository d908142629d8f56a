#include "base/channels.h"

#include <algorithm>

namespace corvane {

std::optional<std::size_t> FindChannel(std::string_view name) {
    const auto upper = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; };
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        if (std::ranges::equal(name, std::string_view(ChannelName(channel)), {}, upper)) return channel;
    }
    return std::nullopt;
}

std::string ChannelColumns(std::string_view end) {
    std::string columns;
    for (const Channel& channel : kChannelTable) {
        if (!columns.empty()) columns += ',';
        columns += channel.column;
        columns += end;
    }
    return columns;
}

}  // namespace corvane
