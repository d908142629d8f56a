#include "window/setup/installation_box.h"

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include <array>

#include "app/settings.h"
#include "link/device_slots.h"
#include "measure/measurement.h"
#include "measure/virtual_channels.h"
#include "measure/virtual_device.h"
#include "measure/virtual_texts.h"
#include "store/settings_store.h"
#include "window/actions.h"
#include "window/parts/widgets.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

struct SwitchWords {
    const Setting& setting;
    const char* text;
};

constexpr std::array<SwitchWords, 5> kSwitches = {{
    {kBipolarMain, "Display Main Panel as a Bi-Polar Value"},
    {kAverageAmps, "Display AVG Line1 and Line2 Current"},
    {kOtherWanted, "Calculate OTHER (Un-monitored Loads)"},
    {kLineToLine, "Display Apparent Line-to-Line Volt (240V range)"},
    {kSingleTwoChannel, "Take every VRQ-5806 packet for one of serial number 999998"},
}};

}  // namespace

InstallationBox::InstallationBox(VirtualDevice& device, Settings& settings, Actions& actions)
    : QGroupBox(u"Installation Type"_s), virtualDevice_(device), settings_(settings), actions_(actions) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(2, 2, 2, 2);
    consumption_ = TypeChoice(InstallationType::ConsumptionOnly);
    netMetering_ = TypeChoice(InstallationType::NetMetering);
    column->addWidget(consumption_);
    column->addWidget(netMetering_);
    for (const SwitchWords& words : kSwitches)
        column->addWidget(Switch(words.setting, QString::fromLatin1(words.text)));
    device_ = TextLabel();
    column->addWidget(device_);
    column->addWidget(Row({ActionButton(u"Create virtual device..."_s, actions,
                                        [&device](Operator& op) { return device.Create(op); }),
                           ActionButton(u"Delete virtual device..."_s, actions,
                                        [&device](Operator& op) { return device.Delete(op); })}));
    column->addStretch();
}

QRadioButton* InstallationBox::TypeChoice(InstallationType type) {
    auto* choice = new QRadioButton(VirtualDevice::TypeText(type));
    connect(choice, &QRadioButton::clicked, this, [this, type] {
        Refresh();  // until the answer has come
        actions_.Run(u"Installation Type"_s,
                     [this, type](Operator& op) { return virtualDevice_.SetInstallationType(type, op); });
    });
    return choice;
}

QCheckBox* InstallationBox::Switch(const Setting& setting, const QString& text) {
    auto* box = new QCheckBox(text);
    connect(box, &QCheckBox::clicked, this, [this, &setting](bool on) {
        actions_.Done(settings_.Apply(setting, SettingsStore::BoolText(on)));
    });
    return switches_.emplace_back(box);
}

void InstallationBox::Refresh() {
    const bool net = virtualDevice_.Type() == InstallationType::NetMetering;
    consumption_->setChecked(!net);
    netMetering_->setChecked(net);
    for (std::size_t i = 0; i < kSwitches.size(); ++i)
        switches_[i]->setChecked(settings_.Store().IsOn(kSwitches[i].setting));
    device_->setText(VirtualDeviceText(virtualDevice_));
}

}  // namespace corvane
