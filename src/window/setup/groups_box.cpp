#include "window/setup/groups_box.h"

#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>

#include "link/device_slots.h"
#include "link/device_texts.h"
#include "measure/channel_groups.h"
#include "measure/virtual_texts.h"
#include "store/channel_labels.h"
#include "window/actions.h"
#include "window/parts/state_line.h"
#include "window/parts/widgets.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// A check box for each channel of the devices in use.
class ChannelDialog final : public QDialog {
public:
    /// `devices` of them are in use; `labels` are those of their channels, by slot.
    ChannelDialog(ChannelGroup group, const QStringList& chosen, int devices,
                  const std::map<int, ChannelLabels>& labels, QWidget* parent)
        : QDialog(parent) {
        const GroupWords& words = WordsOf(group);
        setWindowTitle(QString::fromLatin1(words.title));
        auto* column = new QVBoxLayout(this);
        column->addWidget(TextLabel(QString::fromLatin1(words.note)));
        auto* grid = new QGridLayout;
        column->addLayout(grid);
        for (int slot = 1; slot <= devices; ++slot) {
            grid->addWidget(new QLabel(SlotName(slot)), 0, slot);
            const auto names = labels.find(slot);
            for (std::size_t i = 0; i < kChannels; ++i) {
                const QString channel = QString::fromLatin1(ChannelName(i));
                const QString label = names != labels.end() ? names->second[i].trimmed() : QString();
                auto* box = new QCheckBox(label.isEmpty() ? channel : u"%1  %2"_s.arg(channel, label));
                const QString text = ChannelChoice{.slot = slot, .channel = i}.Text();
                box->setAccessibleName(text);
                box->setChecked(chosen.contains(text));
                grid->addWidget(box, static_cast<int>(i) + 1, slot);
                boxes_.push_back(box);
            }
        }
        auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
        connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
        connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
        column->addWidget(buttons);
    }

    [[nodiscard]] QStringList Chosen() const {
        QStringList chosen;
        for (const QCheckBox* box : boxes_) {
            if (box->isChecked()) chosen.append(box->accessibleName());
        }
        return chosen;
    }

private:
    std::vector<QCheckBox*> boxes_;
};

}  // namespace

GroupsBox::GroupsBox(ChannelGroups& groups, const DeviceSlots& slots, const CaptureDatabase& database,
                     Actions& actions)
    : QGroupBox(u"Groups of channels"_s),
      groups_(groups),
      slots_(slots),
      database_(database),
      actions_(actions) {
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(2, 2, 2, 2);
    grid->setColumnStretch(1, 1);
    grid->setHorizontalSpacing(16);
    for (const ChannelGroup group : kChannelGroups)
        AddGroup(grid, group);
}

void GroupsBox::AddGroup(QGridLayout* grid, ChannelGroup group) {
    const int row = grid->rowCount();
    const QString title = QString::fromLatin1(WordsOf(group).title);
    auto* chosen = TextLabel();
    chosen_.push_back(chosen);
    auto* choose = new QPushButton(u"Choose..."_s);
    choose->setAccessibleName(title + u": Choose"_s);
    connect(choose, &QPushButton::clicked, this, [this, group] { Choose(group); });
    auto* clear = new QPushButton(u"Clear"_s);
    clear->setAccessibleName(title + u": Clear"_s);
    connect(clear, &QPushButton::clicked, this, [this, group] {
        groups_.Clear(group);
        Refresh();
    });
    grid->addWidget(new QLabel(title), row, 0);
    grid->addWidget(chosen, row, 1);
    grid->addWidget(PaleLabel(QString::fromLatin1(WordsOf(group).note)), row + 1, 1);
    grid->addWidget(choose, row, 2, 2, 1);
    grid->addWidget(clear, row, 3, 2, 1);
}

void GroupsBox::Choose(ChannelGroup group) {
    auto* dialog =
        new ChannelDialog(group, groups_.TextsOf(group), slots_.InUse(), ReadChannelLabels(database_), this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QDialog::accepted, this, [this, dialog, group] {
        actions_.Done(groups_.Choose(group, dialog->Chosen()));
        Refresh();
    });
    dialog->open();
}

void GroupsBox::Refresh() {
    for (const ChannelGroup group : kChannelGroups)
        chosen_[static_cast<std::size_t>(group)]->setText(ChosenText(groups_, group));
}

}  // namespace corvane
