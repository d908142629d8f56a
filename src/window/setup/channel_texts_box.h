// Names, comments and pictures of a device's channels.
#pragma once

#include <QGroupBox>

#include <array>

#include "store/channel_labels.h"

class QLabel;
class QLineEdit;

namespace corvane {

class Actions;
class CaptureDatabase;
class DatabaseFiles;

class ChannelTextsBox final : public QGroupBox {
    Q_OBJECT

public:
    ChannelTextsBox(const CaptureDatabase& database, const DatabaseFiles& files, Actions& actions);

    /// Shows the texts of slot 1..6 as the database has them; 0 for none.
    void ShowSlot(int slot);

private:
    QLineEdit* Entry(std::size_t channel, ChannelText which, const QString& name);
    void AddPicture(std::size_t channel, const QString& name);
    void ChoosePicture(std::size_t channel);
    void Save(std::size_t channel, ChannelText which);
    void ShowPicture(std::size_t channel);
    [[nodiscard]] QLineEdit* EntryOf(std::size_t channel, ChannelText which) const {
        return entries_[channel][static_cast<std::size_t>(which)];
    }

    const CaptureDatabase& database_;
    Actions& actions_;
    int slot_ = 0;
    std::array<std::array<QLineEdit*, kChannelTexts>, kChannels> entries_{};
    std::array<QLabel*, kChannels> pictures_{};
};

}  // namespace corvane
