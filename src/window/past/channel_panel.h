// Beside a chart: which channels it shows, and their values where it is pointed at.
#pragma once

#include <QWidget>

#include <array>
#include <string>

#include "history/csv_export.h"
#include "window/past/chart_view.h"

class QCheckBox;
class QLabel;

namespace corvane {

class SettingsStore;

class ChannelPanel final : public QWidget {
    Q_OBJECT

public:
    /// The choice is kept in `settings`.
    explicit ChannelPanel(SettingsStore& settings);

    /// Names the channels by the labels of a device.
    void Name(const std::array<std::string, kChannels>& labels);

    void ShowValues(const ChartView::Values& values);

    [[nodiscard]] std::array<bool, kChannels> Chosen() const;

    /// The chosen channels by their names.
    [[nodiscard]] ShownChannels Shown() const;

Q_SIGNALS:
    void ChoiceChanged();

protected:
    void changeEvent(QEvent* event) override;

private:
    void SaveChoice();
    void TakePalette();

    SettingsStore& settings_;
    QLabel* valuesName_;
    std::array<QCheckBox*, kChannels> channels_{};
    std::array<QLabel*, kChannels> values_{};
};

}  // namespace corvane
