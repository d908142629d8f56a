#include "window/parts/browser.h"

#include <QDesktopServices>
#include <QUrl>

#include "web/web_server.h"

namespace corvane {

using namespace Qt::StringLiterals;

Outcome OpenInBrowser(const WebServer& web, const QString& location) {
    if (!web.Serving())
        return Outcome::Failure(u"The pages are not served now. The status list of the Log tab says why."_s);
    if (!QDesktopServices::openUrl(QUrl(web.WithToken(location))))
        return Outcome::Failure(u"No browser could be started. The page is at %1"_s.arg(location));
    return Outcome::Success();
}

}  // namespace corvane
