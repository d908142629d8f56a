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

std::string ChannelColumn(std::size_t channel, std::string_view end) {
    return std::string(kChannelTable[channel].column).append(end);
}

std::string ChannelColumns(std::string_view end) {
    std::string columns;
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        if (channel > 0) columns += ',';
        columns += ChannelColumn(channel, end);
    }
    return columns;
}

}  // namespace corvane
