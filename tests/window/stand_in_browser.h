// Takes the pages that a test would open in a browser.
#pragma once

#include <QDesktopServices>
#include <QObject>
#include <QUrl>

namespace corvane {

class StandInBrowser final : public QObject {
    Q_OBJECT

public:
    StandInBrowser() { QDesktopServices::setUrlHandler(QStringLiteral("http"), this, "Open"); }
    ~StandInBrowser() override { QDesktopServices::unsetUrlHandler(QStringLiteral("http")); }
    Q_SLOT void Open(const QUrl& url) { opened = url.toString(); }

    QString opened;  ///< the last one
};

}  // namespace corvane
