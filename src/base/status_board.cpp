#include "base/status_board.h"

namespace corvane {

void StatusBoard::AddLine(const QString& line) {
    lines_.push_back(line);
    if (lines_.size() > kKept) lines_.pop_front();
    Q_EMIT LineAdded(line);
}

}  // namespace corvane
