#include "window/setup/output_box.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>

#include <utility>

#include "app/settings.h"
#include "base/operator.h"
#include "base/status_board.h"
#include "window/actions.h"
#include "window/parts/setting_widgets.h"
#include "window/parts/state_line.h"
#include "window/parts/widgets.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QString TitleOf(const Output& output) {
    const QString title = QString::fromLatin1(output.Names().title);
    return title.isEmpty() ? output.Name() : title;
}

StateLine::Light OutputLight(OutputState state) {
    switch (state) {
        case OutputState::Off:
            break;
        case OutputState::Resolving:
        case OutputState::Connecting:
            return StateLine::Light::Waiting;
        case OutputState::Up:
            return StateLine::Light::On;
        case OutputState::Backoff:
        case OutputState::Refused:
            return StateLine::Light::Fault;
    }
    return StateLine::Light::Off;
}

}  // namespace

OutputBox::OutputBox(Output& output, Settings& settings, Actions& actions, const OutputPart& part)
    : QGroupBox(TitleOf(output)), output_(output), settings_(settings), actions_(actions) {
    auto* form = new QFormLayout(this);
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    for (const OutputChoice& choice : output.Choices()) {
        if (choice.label != nullptr) AddChoice(form, choice);
    }
    if (part.widget != nullptr) form->addRow(part.label, part.widget);
    AddState(form);
    if (output.Log() != nullptr) AddLog(form, *output.Log());
}

void OutputBox::AddChoice(QFormLayout* form, const OutputChoice& choice) {
    if (choice.setting->privacy == SettingPrivacy::Secret) return AddSecret(form, choice);
    const QString label = QString::fromLatin1(choice.label);
    if (choice.setting->kind == SettingKind::Switch) {
        AddSettingSwitch(form, label, settings_, actions_, *choice.setting);
        return;
    }
    QLineEdit* entry = AddSettingEntry(form, label, settings_, actions_, *choice.setting);
    entry->setPlaceholderText(QString::fromLatin1(choice.hint));
    // Of several alike, the label alone would not tell which one's it is.
    if (*output_.Names().group != '\0') {
        entry->setAccessibleName(output_.Name() + u' ' + QLatin1StringView(choice.word));
    }
}

void OutputBox::AddSecret(QFormLayout* form, const OutputChoice& choice) {
    QLineEdit* entry = AddEntry(form, QString::fromLatin1(choice.label));
    entry->setEchoMode(QLineEdit::Password);
    connect(entry, &QLineEdit::editingFinished, this, [this, entry, setting = choice.setting] {
        if (!entry->isModified()) return;
        const QString text = entry->text();
        entry->clear();  // it is kept, and never shown
        actions_.Done(settings_.Apply(*setting, text));
        Refresh();
    });
}

std::vector<OutputAction> OutputBox::Offered() const {
    std::vector<OutputAction> offered = output_.Actions();
    std::erase_if(offered, [](const OutputAction& action) { return !action.offered; });
    return offered;
}

QCoro::Task<Outcome> OutputBox::Run(OutputAction action, Operator& op) {
    const Outcome outcome = co_await action.awaited(op);
    if (outcome && *action.done != '\0') op.Show(QString::fromLatin1(action.done));
    co_return outcome;
}

QPushButton* OutputBox::Button(std::size_t index, const OutputAction& action) {
    if (action.awaited) {
        return ActionButton(action.caption, actions_, [action](Operator& op) { return Run(action, op); });
    }
    auto* button = new QPushButton;
    connect(button, &QPushButton::clicked, this, [this, index] {
        actions_.Done(Offered()[index].atOnce());
        Refresh();
    });
    return button;
}

void OutputBox::AddState(QFormLayout* form) {
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    for (const OutputAction& action : Offered()) {
        buttons_.push_back(Button(buttons_.size(), action));
        layout->addWidget(buttons_.back());
    }
    state_ = new StateLine(TitleOf(output_));
    layout->addWidget(state_, 1);
    form->addRow(u"Connection"_s, row);
}

void OutputBox::AddLog(QFormLayout* form, const StatusBoard& log) {
    auto* box = new QPlainTextEdit;
    const QString name = QString::fromLatin1(output_.Names().log);
    box->setReadOnly(true);
    box->setMaximumBlockCount(static_cast<int>(StatusBoard::kKept));
    box->setAccessibleName(name);
    box->setMinimumHeight(110);
    for (const QString& line : log.Lines())
        box->appendPlainText(line);
    connect(&log, &StatusBoard::LineAdded, box, &QPlainTextEdit::appendPlainText);
    form->addRow(name, box);
}

void OutputBox::Refresh() {
    const std::vector<OutputAction> offered = Offered();
    for (std::size_t i = 0; i < buttons_.size(); ++i) {
        if (!offered[i].atOnce) continue;
        buttons_[i]->setText(offered[i].caption);
        buttons_[i]->setAccessibleName(output_.Name() + u' ' + QLatin1StringView(offered[i].word));
    }
    state_->Show(OutputLight(output_.Standing()), output_.StateText(), output_.Notice());
}

}  // namespace corvane
