// The models of the program and a made-up one besides, which measures CH1, CH2 and AUX1: what is true of all
// models must be true of the next one, too.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "link/monitor_models.h"

namespace corvane {

inline constexpr MonitorModel kMadeUpModel = {.name = "Made-up",
                                              .thirdHeaderByte = 0xA7,
                                              .length = 47,
                                              .fields = kMainFields | FieldSet{Field::Aux1},
                                              .startWord = "THR"};

inline constexpr auto kWithThird = []<std::size_t... index>(std::index_sequence<index...>) {
    return std::array{kModels[index]..., kMadeUpModel};
}
(std::make_index_sequence<kModels.size()>());
static_assert(std::ranges::all_of(kWithThird, FieldsFit) && AllDiffer(kWithThird));

inline constexpr const MonitorModel& kThreeChannel = kWithThird.back();

}  // namespace corvane
