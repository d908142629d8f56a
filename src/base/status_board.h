// The status list: short lines, newest last, that tell what happened to links and files.
#pragma once

#include <QObject>
#include <QString>

#include <cstddef>
#include <deque>

namespace corvane {

class StatusBoard : public QObject {
    Q_OBJECT

public:
    static constexpr std::size_t kKept = 1000;  ///< older lines are dropped

    /// Adds a line as it stands; most begin with five or six blanks, which are part of the text.
    void AddLine(const QString& line);

    [[nodiscard]] const std::deque<QString>& Lines() const { return lines_; }

Q_SIGNALS:
    void LineAdded(const QString& line);

private:
    std::deque<QString> lines_;
};

}  // namespace corvane
