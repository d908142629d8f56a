// How the programs end, after the numbers of sysexits(3).
#pragma once

namespace corvane {

inline constexpr int kExitOk = 0;
inline constexpr int kExitUsage = 64;           ///< an option that is none
inline constexpr int kExitNoDatabase = 66;      ///< no valid database file
inline constexpr int kExitAlreadyRunning = 69;  ///< another program uses the data folder
inline constexpr int kExitOther = 70;
inline constexpr int kExitNoFolder = 73;  ///< the data folder cannot be made or written to

}  // namespace corvane
