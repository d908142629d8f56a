// The program's folder for the database, the logs and the control socket.
#pragma once

#include <QFile>
#include <QString>

#include "base/outcome.h"

namespace corvane {

/// The rights of files that may tell of people: for this user alone. `kOfOthers` are those that they lack.
inline constexpr QFile::Permissions kForOwner = QFile::ReadOwner | QFile::WriteOwner;
inline constexpr QFile::Permissions kOfOthers = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup |
                                                QFile::ReadOther | QFile::WriteOther | QFile::ExeOther;

/// The per-user folder for the program's data, whether it exists or not.
[[nodiscard]] QString GetAppDataFolder();

/// Makes `folder` and what leads to it, for this user alone, where missing, and sees to it that files can be
/// made in it. On failure the text names the folder.
Outcome CreateAppDataFolder(const QString& folder);

}  // namespace corvane
