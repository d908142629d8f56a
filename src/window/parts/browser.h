// Pages of ours in the browser of this machine's user.
#pragma once

#include <QString>

#include "base/outcome.h"

namespace corvane {

class WebServer;

/// Opens the page at `location`, which begins with that of `web`. A failure says why it is not to be seen.
Outcome OpenInBrowser(const WebServer& web, const QString& location);

}  // namespace corvane
