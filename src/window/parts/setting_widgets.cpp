#include "window/parts/setting_widgets.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QLineEdit>

#include "app/program.h"
#include "app/setting_rules.h"
#include "window/actions.h"
#include "window/parts/widgets.h"

namespace corvane {

QLineEdit* AddSettingEntry(QFormLayout* form, const QString& label, Program& program, Actions& actions,
                           const QString& key, const QString& fallback) {
    QLineEdit* entry = AddEntry(form, label, program.settings.GetSetting(key, fallback));
    QObject::connect(entry, &QLineEdit::editingFinished, entry, [entry, &program, &actions, key, fallback] {
        if (!entry->isModified()) return;
        entry->setModified(false);
        actions.Done(ApplySetting(program, SettingName::Parse(key), entry->text()).outcome);
        entry->setText(program.settings.GetSetting(key, fallback));
    });
    return entry;
}

QCheckBox* AddSettingSwitch(QFormLayout* form, const QString& label, Program& program, Actions& actions,
                            const QString& key) {
    auto* box = new QCheckBox(label);
    box->setChecked(program.settings.GetBool(key, false));
    QObject::connect(box, &QCheckBox::clicked, box, [box, &program, &actions, key](bool on) {
        actions.Done(ApplySetting(program, SettingName::Parse(key), SettingsStore::BoolText(on)).outcome);
        box->setChecked(program.settings.GetBool(key, false));
    });
    form->addRow(box);
    return box;
}

}  // namespace corvane
