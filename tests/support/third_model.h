// The models of the program and a made-up one besides, which measures CH1, CH2 and AUX1: what is true of all
// models must be true of the next one, too.
#pragma once

#include <array>

#include "link/monitor_models.h"

namespace corvane {

inline constexpr std::array<MonitorModel, kModels.size() + 1> kWithThird = {
    kModels[0],
    kModels[1],
    {.name = "Three",
     .thirdHeaderByte = 0x07,
     .length = 47,
     .fields = kMainFields | FieldSet{Field::Aux1},
     .startWord = "THR"}};
static_assert(std::ranges::all_of(kWithThird, FieldsFit));

inline constexpr const MonitorModel& kThreeChannel = kWithThird.back();

}  // namespace corvane
