// A tab of the main window.
#pragma once

#include <QWidget>

namespace corvane {

class Page : public QWidget {
    Q_OBJECT

public:
    /// Brings what is shown up to date. Called when the page comes to the front, then once a second while it
    /// is there.
    virtual void Refresh() {}
};

}  // namespace corvane
