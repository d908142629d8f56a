// How the house is wired, and the virtual device that its sums are recorded as.
#pragma once

#include <QGroupBox>

#include <vector>

class QCheckBox;
class QLabel;
class QRadioButton;

namespace corvane {

class Actions;
class Settings;
class VirtualDevice;
struct Setting;
enum class InstallationType;

class InstallationBox final : public QGroupBox {
    Q_OBJECT

public:
    InstallationBox(VirtualDevice& device, Settings& settings, Actions& actions);

    void Refresh();

private:
    QRadioButton* TypeChoice(InstallationType type);
    QCheckBox* Switch(const Setting& setting, const QString& text);

    VirtualDevice& virtualDevice_;
    Settings& settings_;
    Actions& actions_;
    QRadioButton* consumption_;
    QRadioButton* netMetering_;
    std::vector<QCheckBox*> switches_;
    QLabel* device_;
};

}  // namespace corvane
