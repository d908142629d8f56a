// Any bytes in the place of a settings block: every field has a text, and writing it back changes nothing.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "control/settings_block.h"
#include "fuzz/require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace corvane;
    SettingsBlock block;
    std::copy_n(data, std::min(size, block.bytes.size()), block.bytes.begin());
    for (std::size_t i = 0; i < kSettingsFields.size(); ++i) {
        const auto setting = static_cast<MonitorSetting>(i);
        REQUIRE(!block.Text(setting).empty());
        SettingsBlock again = block;
        again.Set(setting, 0);
        REQUIRE(again.Raw(setting) == 0);
        again.Set(setting, block.Raw(setting));
        REQUIRE(again.bytes == block.bytes);
    }
    REQUIRE(block.SerialText().size() >= 6);
    return 0;
}
