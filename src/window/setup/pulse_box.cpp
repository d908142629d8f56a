#include "window/setup/pulse_box.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "base/number_format.h"
#include "link/device_texts.h"
#include "measure/pulse_counters.h"
#include "measure/readings.h"
#include "measure/virtual_texts.h"
#include "window/actions.h"
#include "window/parts/browser.h"
#include "window/parts/widgets.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// None, and the channels that have an input for pulses.
QStringList SourceTexts() {
    QStringList texts{u"None"_s};
    for (const Channel& channel : kChannelTable) {
        if (channel.pulseInput) texts.append(QLatin1StringView(channel.name));
    }
    return texts;
}

}  // namespace

PulseBox::PulseBox(PulseCounters& pulses, const WebServer& web, Actions& actions)
    : pulses_(pulses), web_(web), actions_(actions) {
    auto* form = new QFormLayout(this);
    form->setContentsMargins(2, 2, 2, 2);
    enabled_ = new QCheckBox(u"Count pulses of a flow or utility meter"_s);
    connect(enabled_, &QCheckBox::clicked, this, [this](bool on) {
        enabled_->setChecked(pulses_.Setup(slot_).enabled);  // until the answer has come
        actions_.Run(u"Pulse counting"_s,
                     [this, slot = slot_, on](Operator& op) { return pulses_.SetEnabled(slot, on, op); });
    });
    form->addRow(enabled_);
    source_ = AddChoice(form, u"Source"_s, SourceTexts());
    flowType_ = AddChoice(form, u"Unit"_s,
                          {u"Undefined"_s, u"Cubic feet"_s, u"Cubic metres"_s, u"Gallons"_s, u"Litres"_s});
    period_ = AddChoice(form, u"Rate"_s, {u"per minute"_s, u"per hour"_s});
    factor_ = AddEntry(form, u"One Pulse Equals:"_s);
    auto* apply = new QPushButton(u"Set up"_s);
    connect(apply, &QPushButton::clicked, this, &PulseBox::Apply);
    flowPage_ = new QPushButton(u"Flow page"_s);
    flowPage_->setToolTip(u"Opens the flow in the browser"_s);
    connect(flowPage_, &QPushButton::clicked, this,
            [this] { actions_.Done(OpenInBrowser(web_, pulses_.FlowPage(slot_))); });
    now_ = TextLabel();
    form->addRow(Row({apply,
                      ActionButton(u"Preset total..."_s, actions,
                                   [this](Operator& op) { return pulses_.PresetTotal(slot_, op); }),
                      flowPage_, now_}));
    ShowSlot(0);
}

QComboBox* PulseBox::AddChoice(QFormLayout* form, const QString& label, const QStringList& texts) {
    auto* choice = new QComboBox;
    choice->setAccessibleName(u"Pulses: "_s + label);
    choice->addItems(texts);
    form->addRow(label, choice);
    return choice;
}

void PulseBox::Apply() {
    const QString source = source_->currentIndex() > 0 ? source_->currentText() : QString();
    const Outcome done =
        pulses_.SetUp(slot_, source, QString::number(flowType_->currentIndex() - 1),
                      period_->currentIndex() == 1 ? u"hour"_s : u"minute"_s, factor_->text());
    if (actions_.Done(done)) ShowSlot(slot_);
}

void PulseBox::ShowSlot(int slot) {
    slot_ = slot;
    setEnabled(slot > 0);
    setTitle(slot > 0 ? u"Pulses of "_s + SlotName(slot) : u"Pulses"_s);
    if (slot == 0) return;
    const PulseSetup& setup = pulses_.Setup(slot);
    const auto source =
        setup.channel.has_value() ? source_->findText(QLatin1StringView(ChannelName(*setup.channel))) : 0;
    source_->setCurrentIndex(source);
    flowType_->setCurrentIndex(setup.flowType + 1);
    period_->setCurrentIndex(setup.perHour ? 1 : 0);
    factor_->setText(QString::fromStdString(ShortestText(setup.countK)));
    Refresh();
}

void PulseBox::Refresh() {
    if (slot_ == 0) return;
    enabled_->setChecked(pulses_.Setup(slot_).enabled);
    flowPage_->setEnabled(!pulses_.FlowPage(slot_).isEmpty());
    const auto readings = pulses_.Readings(slot_);
    now_->setText(readings.has_value() ? FlowText(*readings) : QString());
}

}  // namespace corvane
