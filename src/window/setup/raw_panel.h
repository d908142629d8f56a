// The bytes as they come in, the fields of packets told apart by color.
#pragma once

#include <QGroupBox>

#include <functional>
#include <string>

#include "link/monitor_link.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QTableWidget;
class QTextCursor;
class QTextEdit;

namespace corvane {

struct RawRun;

class RawPanel final : public QGroupBox {
    Q_OBJECT

public:
    static constexpr std::size_t kShown = 4096;  ///< bytes of a stream; older ones are left out

    /// `keepBytes` switches for all streams whether received bytes are kept.
    RawPanel(const Framer& framer, const MonitorLinks& links, std::function<void(bool on)> keepBytes);

    /// To be called once a second while it is looked at.
    void Refresh();

protected:
    void changeEvent(QEvent* event) override;

private:
    QWidget* Choices(const MonitorLinks& links);
    void TakeLatest();
    void ShowBytes();
    void WriteRun(QTextCursor& cursor, const RawRun& run) const;
    void ShowFields(const RawRun* packet);
    [[nodiscard]] QColor ColorOf(std::size_t field) const;

    const Framer& framer_;
    std::function<void(bool on)> keepBytes_;
    QCheckBox* on_;
    QCheckBox* hold_;
    QComboBox* stream_;
    QLabel* counters_;
    QTextEdit* bytes_;
    QTableWidget* fields_;
    std::string shown_;
};

}  // namespace corvane
