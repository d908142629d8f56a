#include "window/setup/monitor_page.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "control/guarded_commands.h"
#include "control/monitor_commands.h"
#include "control/monitor_history.h"
#include "control/monitor_settings.h"
#include "control/setters.h"
#include "link/device_slots.h"
#include "link/device_texts.h"
#include "window/actions.h"
#include "window/parts/widgets.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr int kByteChoosers = 4;  ///< Device A to D

QPlainTextEdit* TextBox(const QString& name) {
    auto* box = new QPlainTextEdit;
    box->setReadOnly(true);
    box->setAccessibleName(name);
    box->setMinimumHeight(180);
    return box;
}

}  // namespace

MonitorPage::MonitorPage(const TargetMonitor& monitor, const DeviceSlots& slots, Measurement& measurement,
                         Actions& actions)
    : monitor_(monitor), slots_(slots), measurement_(measurement), actions_(actions) {
    QVBoxLayout* page = ScrolledLayout(this);
    AddTarget(page);
    AddCommands(page);
    AddSettings(page);
    AddSetters(page);
    AddHistory(page);
    page->addStretch();
    // What a command read or set is shown when it has ended.
    connect(&actions_, &Actions::BusyChanged, this, [this](bool busy) {
        for (QComboBox* choice : choices_)
            choice->setDisabled(busy);
        if (busy) return;
        ShowCommandBytes();
        ShowSettings();
        ShowHistory();
    });
}

void MonitorPage::AddTarget(QVBoxLayout* page) {
    QFormLayout* form = AddSection(page, u"Command target"_s);
    target_ = new QComboBox;
    target_->setAccessibleName(u"Command target"_s);
    target_->addItem(u"Select Device"_s);
    for (int slot = 1; slot <= kSlots; ++slot)
        target_->addItem(u"Bind to "_s + SlotName(slot));
    connect(target_, &QComboBox::activated, this, [this](int item) {
        if (item > 0) actions_.Done(monitor_.commands.BindTarget(item - 1));
        Refresh();
    });
    choices_.push_back(target_);
    targetText_ = TextLabel();
    form->addRow(Row({target_, targetText_}));
    for (int slot = 1; slot <= kByteChoosers; ++slot) {
        auto* byte = new QComboBox;
        for (const int value : MonitorCommands::kCommandBytes)
            byte->addItem(QString::number(value));
        const QString label = u"Command byte of "_s + SlotName(slot);
        byte->setAccessibleName(label);
        connect(byte, &QComboBox::activated, this, [this, slot](int position) {
            actions_.Run(u"Command byte"_s, [this, slot, position](Operator& op) {
                return monitor_.commands.ChooseCommandByte(slot, position, op);
            });
        });
        choices_.push_back(byte);
        form->addRow(label, Row({byte}));
    }
}

void MonitorPage::AddCommands(QVBoxLayout* page) {
    QFormLayout* form = AddSection(page, u"Commands"_s);
    MonitorCommands& commands = monitor_.commands;
    const auto button = [this](const QString& text, Actions::Action action) {
        return ActionButton(text, actions_, std::move(action));
    };
    form->addRow(
        u"Realtime packets"_s,
        Row({button(u"Start"_s, [&commands](Operator& op) { return commands.StartRealtime(op); }),
             button(u"Stop"_s, [&commands](Operator& op) { return commands.StopRealtime(op); }),
             button(u"One packet"_s, [&commands](Operator& op) { return commands.SendOnePacket(op); })}));
    form->addRow(u"Energy"_s,
                 Row({button(u"Reset accumulated values..."_s,
                             [this](Operator& op) {
                                 return ResetAccumulatedValues(monitor_.commands, slots_, measurement_, op);
                             }),
                      button(u"Reset each monitor..."_s,
                             [this](Operator& op) {
                                 return ResetEachMonitor(monitor_.commands, slots_, measurement_, op);
                             }),
                      button(u"Zero carry counters..."_s,
                             [this](Operator& op) { return ZeroCarryCounters(slots_, measurement_, op); })}));
    form->addRow(
        u"Monitor"_s,
        Row({button(u"Restart..."_s, [&commands](Operator& op) { return RestartMonitor(commands, op); }),
             button(u"Pass-through..."_s,
                    [&commands](Operator& op) {
                        return EnterPassThroughMode(commands, PassThrough::Usual, op);
                    }),
             button(u"Erase data logger..."_s,
                    [&commands](Operator& op) { return EraseDataLogger(commands, op); })}));
}

void MonitorPage::AddSettings(QVBoxLayout* page) {
    QFormLayout* form = AddSection(page, u"Settings"_s);
    form->addRow(Row({ActionButton(u"Read Settings"_s, actions_,
                                   [this](Operator& op) { return monitor_.settings.ReadSettings(op); })}));
    settings_ = TextBox(u"Settings of the monitor"_s);
    settings_->setPlaceholderText(u"Not read yet. Realtime packets must be stopped first."_s);
    form->addRow(settings_);
}

void MonitorPage::AddSetters(QVBoxLayout* page) {
    QFormLayout* form = AddSection(page, u"Change settings"_s);
    for (const Setter& setter : Setters()) {
        const QString name = setter.name;
        auto* row = Row({});
        std::vector<QLineEdit*> entries;
        for (std::size_t i = 0; i < setter.InputCount(); ++i) {
            auto* entry = new QLineEdit;
            entry->setPlaceholderText(QLatin1StringView(setter.inputs[i].name).toString().toLower());
            entry->setAccessibleName(setter.title + u", "_s + entry->placeholderText());
            entry->setMaximumWidth(160);
            entries.push_back(entry);
        }
        QPushButton* set = ActionButton(u"Set"_s, actions_, [this, name, entries](Operator& op) {
            QStringList inputs;
            for (const QLineEdit* entry : entries)
                inputs.append(entry->text());
            return monitor_.settings.Set(name, inputs, op);
        });
        set->setAccessibleName(u"Set "_s + setter.title);
        auto* layout = static_cast<QHBoxLayout*>(row->layout());
        int place = 0;
        for (QLineEdit* entry : entries)
            layout->insertWidget(place++, entry);
        layout->insertWidget(place, set);
        form->addRow(setter.title, row);
    }
}

void MonitorPage::AddHistory(QVBoxLayout* page) {
    QFormLayout* form = AddSection(page, u"What they were"_s);
    from_ = new QComboBox;
    to_ = new QComboBox;
    from_->setAccessibleName(u"Compare from"_s);
    to_->setAccessibleName(u"Compare to"_s);
    difference_ = TextBox(u"What changed"_s);
    for (QComboBox* choice : {from_, to_}) {
        choice->setMinimumContentsLength(19);
        connect(choice, &QComboBox::currentIndexChanged, this, &MonitorPage::ShowDifference);
    }
    form->addRow(u"Compare"_s,
                 Row({from_, to_, ActionButton(u"Put back the first..."_s, actions_, [this](Operator& op) {
                          return monitor_.settings.Restore(from_->currentText(), op);
                      })}));
    form->addRow(difference_);
}

/// After a refusal, too, a list is at the byte that is kept, or at its first position.
void MonitorPage::ShowCommandBytes() {
    if (actions_.Busy()) return;  // one may be asked about right now
    for (int slot = 1; slot <= kByteChoosers; ++slot) {
        QComboBox* byte = choices_[static_cast<std::size_t>(slot)];
        const int item = byte->findText(QString::number(monitor_.commands.CommandByte(slot)));
        if (!byte->view()->isVisible()) byte->setCurrentIndex(std::max(item, 0));
    }
}

void MonitorPage::ShowSettings() {
    const QString text = monitor_.settings.LastLines().join(u'\n');
    if (settings_->toPlainText() != text) settings_->setPlainText(text);
}

void MonitorPage::ShowHistory() {
    QStringList whens;
    for (const KeptSettings& kept : monitor_.history.Of(monitor_.settings.TargetSerial()))
        whens.append(kept.when);
    for (QComboBox* choice : {from_, to_}) {
        const QSignalBlocker quiet(choice);
        choice->clear();
        choice->addItems(whens);
    }
    from_->setCurrentIndex(std::max(0, static_cast<int>(whens.size()) - 2));
    to_->setCurrentIndex(static_cast<int>(whens.size()) - 1);
    ShowDifference();
}

void MonitorPage::ShowDifference() {
    const QString serial = monitor_.settings.TargetSerial();
    const auto from = monitor_.history.Find(serial, from_->currentText());
    const auto to = monitor_.history.Find(serial, to_->currentText());
    QStringList lines;
    if (!from_->currentText().isEmpty() && from.has_value() && to.has_value()) {
        for (const SettingChange& change : Changes(from->block, to->block))
            lines.append(change.text);
        if (lines.isEmpty()) lines.append(u"Nothing differs."_s);
    }
    difference_->setPlainText(lines.join(u'\n'));
}

void MonitorPage::Refresh() {
    const CommandTarget target = monitor_.commands.Target();
    target_->setCurrentIndex(target.slot);
    targetText_->setText(u"%1 on %2, command byte %3"_s.arg(
        SlotName(target.slot), monitor_.commands.TargetLinkText(), QString::number(target.commandByte)));
    ShowCommandBytes();
    if (settings_->toPlainText().isEmpty()) ShowSettings();
    if (from_->count() == 0) ShowHistory();
}

}  // namespace corvane
