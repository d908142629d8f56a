// The program's folder for the database, the logs and the control socket.
#pragma once

#include <QString>

#include "base/outcome.h"

namespace corvane {

/// The per-user folder for the program's data, whether it exists or not.
[[nodiscard]] QString GetAppDataFolder();

/// Makes `folder` and what leads to it, for this user alone, where missing, and sees to it that files can be
/// made in it. On failure the text names the folder.
Outcome CreateAppDataFolder(const QString& folder);

}  // namespace corvane
