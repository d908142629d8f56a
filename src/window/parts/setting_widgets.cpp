#include "window/parts/setting_widgets.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QLineEdit>

#include "app/settings.h"
#include "store/settings_store.h"
#include "window/actions.h"
#include "window/parts/widgets.h"

namespace corvane {

namespace {

void SetHelp(QWidget* widget, const Setting& setting) {
    const QString help = QString::fromUtf8(setting.help);
    widget->setToolTip(help);
    widget->setAccessibleDescription(help);
}

}  // namespace

QLineEdit* AddSettingEntry(QFormLayout* form, const QString& label, Settings& settings, Actions& actions,
                           const Setting& setting, const SettingPlace& place) {
    QLineEdit* entry = AddEntry(form, label, settings.Store().Value(setting, place));
    SetHelp(entry, setting);
    const auto apply = [entry, &settings, &actions, &setting, place] {
        if (!entry->isModified()) return;
        entry->setModified(false);
        actions.Done(settings.Apply(setting, entry->text(), place));
        entry->setText(settings.Store().Value(setting, place));
    };
    QObject::connect(entry, &QLineEdit::editingFinished, entry, apply);
    return entry;
}

QCheckBox* AddSettingSwitch(QFormLayout* form, const QString& label, Settings& settings, Actions& actions,
                            const Setting& setting, const SettingPlace& place) {
    auto* box = new QCheckBox(label);
    SetHelp(box, setting);
    box->setChecked(settings.Store().IsOn(setting, place));
    const auto apply = [box, &settings, &actions, &setting, place](bool on) {
        actions.Done(settings.Apply(setting, SettingsStore::BoolText(on), place));
        box->setChecked(settings.Store().IsOn(setting, place));
    };
    QObject::connect(box, &QCheckBox::clicked, box, apply);
    form->addRow(box);
    return box;
}

}  // namespace corvane
