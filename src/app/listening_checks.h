// Whether others will find us where the settings say: what only this machine can tell of ports and addresses.
#pragma once

namespace corvane {

class Settings;

/// Has entries refused that could not be listened at: a port that somebody has already, an address that is
/// none of this machine's, pages that are open to the network without a token. What is kept already stays.
void AddListeningChecks(Settings& settings);

}  // namespace corvane
