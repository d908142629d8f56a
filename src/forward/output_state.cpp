#include "forward/output_state.h"

#include <array>

namespace corvane {

QString OutputStateText(OutputState state) {
    constexpr std::array<const char*, 6> kTexts = {
        "Off", "Resolving", "Connecting", "Up", "Waiting to try again", "Refused"};
    return QString::fromLatin1(kTexts[static_cast<std::size_t>(state)]);
}

}  // namespace corvane
