// What the charts showed last, kept between runs.
#pragma once

#include <array>

#include "base/setting.h"

namespace corvane {

inline constexpr Setting kChartDevice{.key = "ChartDevice",
                                      .by = SettingBy::Program,
                                      .help = "The device of the charts, by its deviceaddress."};
inline constexpr Setting kChartMeasure{.key = "ChartMeasure",
                                       .kind = SettingKind::Number,
                                       .fallback = "0",
                                       .least = 0,
                                       .most = 2,
                                       .by = SettingBy::Program,
                                       .help = "What the charts show: 0 power, 1 energy, 2 cost."};
inline constexpr Setting kChartPeriod{.key = "ChartPeriod",
                                      .kind = SettingKind::Number,
                                      .fallback = "0",
                                      .least = 0,
                                      .most = 3,
                                      .by = SettingBy::Program,
                                      .help = "How much time they show: 0 a day to 3 a year."};
inline constexpr Setting kChartBars{.key = "ChartBars",
                                    .kind = SettingKind::Number,
                                    .fallback = "0",
                                    .least = 0,
                                    .most = 4,
                                    .by = SettingBy::Program,
                                    .help = "What a bar stands for: 0 an hour to 4 a year."};
inline constexpr Setting kChartChannels{.key = "ChartChannels",
                                        .fallback = "1100000",
                                        .by = SettingBy::Program,
                                        .help = "1 for each channel that they show, CH1 first."};
inline constexpr std::array kChartSettings = {kChartDevice, kChartMeasure, kChartPeriod, kChartBars,
                                              kChartChannels};

}  // namespace corvane
