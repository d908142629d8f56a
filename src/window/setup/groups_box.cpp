#include "window/setup/groups_box.h"

#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>

#include "app/program.h"
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
    ChannelDialog(const Program& program, ChannelGroup group, QWidget* parent) : QDialog(parent) {
        const GroupWords& words = WordsOf(group);
        setWindowTitle(QString::fromLatin1(words.title));
        auto* column = new QVBoxLayout(this);
        column->addWidget(TextLabel(QString::fromLatin1(words.note)));
        auto* grid = new QGridLayout;
        column->addLayout(grid);
        const QStringList chosen = program.channelGroups.TextsOf(group);
        const auto labels = ReadChannelLabels(program.database);
        for (int slot = 1; slot <= program.deviceSlots.InUse(); ++slot) {
            grid->addWidget(new QLabel(u"Device "_s + SlotLetter(slot)), 0, slot);
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

GroupsBox::GroupsBox(Program& program, Actions& actions)
    : QGroupBox(u"Groups of channels"_s), program_(program), actions_(actions) {
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
        program_.channelGroups.Clear(group);
        Refresh();
    });
    grid->addWidget(new QLabel(title), row, 0);
    grid->addWidget(chosen, row, 1);
    grid->addWidget(PaleLabel(QString::fromLatin1(WordsOf(group).note)), row + 1, 1);
    grid->addWidget(choose, row, 2, 2, 1);
    grid->addWidget(clear, row, 3, 2, 1);
}

void GroupsBox::Choose(ChannelGroup group) {
    auto* dialog = new ChannelDialog(program_, group, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QDialog::accepted, this, [this, dialog, group] {
        actions_.Done(program_.channelGroups.Choose(group, dialog->Chosen()));
        Refresh();
    });
    dialog->open();
}

void GroupsBox::Refresh() {
    for (const ChannelGroup group : kChannelGroups) {
        const QString texts = program_.channelGroups.TextsOf(group).join(u", "_s);
        chosen_[static_cast<std::size_t>(group)]->setText(texts.isEmpty() ? u"None"_s : texts);
    }
}

}  // namespace corvane
