// The channels of a device as a table: label, watts, amps, kWh.
#pragma once

#include <QAbstractTableModel>
#include <QIcon>

#include <array>
#include <vector>

#include "store/channel_labels.h"

namespace corvane {

class Measurement;
class PulseCounters;
struct Palette;

/// "AUX1  Fridge", or the name alone where the user gave no label. Index into `kChannelTable`.
[[nodiscard]] QString ChannelTitle(std::size_t channel, const QString& label);

/// Texts are made for the cells that are looked at, when they are. An input that counts pulses shows its flow
/// and its total in place of watts and kWh.
class ChannelModel final : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column { Label, Watts, Amps, Energy, Columns };

    /// Of slot 1..6.
    ChannelModel(const Measurement& measurement, const PulseCounters& pulses, int slot);

    /// Takes what has changed since: how many channels there are, their labels, their values. Values that are
    /// not `current` are shown faded.
    void Refresh(const ChannelLabels& labels, bool current);

    /// Index into `kChannelTable`.
    [[nodiscard]] std::size_t ChannelOf(const QModelIndex& row) const {
        return channels_[static_cast<std::size_t>(row.row())];
    }

    int rowCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : static_cast<int>(channels_.size());
    }
    int columnCount(const QModelIndex& parent = {}) const override { return parent.isValid() ? 0 : Columns; }
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    [[nodiscard]] QString Text(std::size_t channel, int column) const;

    const Measurement& measurement_;
    const PulseCounters& pulses_;
    int slot_;
    const Palette* palette_ = nullptr;
    std::array<QIcon, kChannels> dots_;  ///< in the colors of the lines
    std::vector<std::size_t> channels_;  ///< that the monitor has, a row each
    ChannelLabels labels_;
    bool current_ = false;
};

}  // namespace corvane
