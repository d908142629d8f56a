#include "window/setup/channel_texts_box.h"

#include <QFileDialog>
#include <QGridLayout>
#include <QImageReader>
#include <QLabel>
#include <QLineEdit>
#include <QToolButton>

#include "link/device_texts.h"
#include "store/upkeep/database_files.h"
#include "window/actions.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

enum GridColumn { kName, kLabel, kComment, kPicture, kBrowse, kPreview };

}  // namespace

ChannelTextsBox::ChannelTextsBox(const CaptureDatabase& database, const DatabaseFiles& files,
                                 Actions& actions)
    : database_(database), actions_(actions) {
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(2, 2, 2, 2);
    grid->setColumnStretch(kLabel, 3);
    grid->setColumnStretch(kComment, 4);
    grid->setColumnStretch(kPicture, 3);
    grid->addWidget(new QLabel(u"Label"_s), 0, kLabel);
    grid->addWidget(new QLabel(u"Comment"_s), 0, kComment);
    grid->addWidget(new QLabel(u"Picture"_s), 0, kPicture);
    for (std::size_t i = 0; i < kChannels; ++i) {
        const int row = static_cast<int>(i) + 1;
        const QString name = QString::fromLatin1(ChannelName(i));
        grid->addWidget(new QLabel(name), row, kName);
        grid->addWidget(Entry(i, ChannelText::Label, name + u" label"_s), row, kLabel);
        grid->addWidget(Entry(i, ChannelText::Comment, name + u" comment"_s), row, kComment);
        grid->addWidget(Entry(i, ChannelText::Picture, name + u" picture"_s), row, kPicture);
        AddPicture(i, name);
    }
    connect(&files, &DatabaseFiles::Adopted, this, [this] { ShowSlot(slot_); });
    ShowSlot(0);
}

QLineEdit* ChannelTextsBox::Entry(std::size_t channel, ChannelText which, const QString& name) {
    auto* entry = new QLineEdit;
    entry->setAccessibleName(name);
    connect(entry, &QLineEdit::editingFinished, this, [this, entry, channel, which] {
        if (entry->isModified()) Save(channel, which);
    });
    entries_[channel][static_cast<std::size_t>(which)] = entry;
    return entry;
}

void ChannelTextsBox::AddPicture(std::size_t channel, const QString& name) {
    auto* grid = static_cast<QGridLayout*>(layout());
    auto* browse = new QToolButton;
    browse->setText(u"..."_s);
    browse->setAccessibleName(name + u": choose a picture"_s);
    connect(browse, &QToolButton::clicked, this, [this, channel] { ChoosePicture(channel); });
    pictures_[channel] = new QLabel;
    pictures_[channel]->setFixedSize(32, 24);
    pictures_[channel]->setAlignment(Qt::AlignCenter);
    const int row = static_cast<int>(channel) + 1;
    grid->addWidget(browse, row, kBrowse);
    grid->addWidget(pictures_[channel], row, kPreview);
}

void ChannelTextsBox::ChoosePicture(std::size_t channel) {
    auto* dialog = new QFileDialog(this, u"Picture of the channel"_s);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setNameFilter(u"Pictures (*.png *.jpg *.jpeg *.svg *.gif *.bmp)"_s);
    connect(dialog, &QFileDialog::fileSelected, this, [this, channel, slot = slot_](const QString& path) {
        if (slot != slot_) return;  // another device was chosen meanwhile
        EntryOf(channel, ChannelText::Picture)->setText(path);
        Save(channel, ChannelText::Picture);
    });
    dialog->open();
}

void ChannelTextsBox::Save(std::size_t channel, ChannelText which) {
    QLineEdit* entry = EntryOf(channel, which);
    entry->setModified(false);
    if (!actions_.Done(SaveChannelText(database_, slot_, channel, which, entry->text().trimmed()))) return;
    if (which == ChannelText::Picture) ShowPicture(channel);
}

void ChannelTextsBox::ShowPicture(std::size_t channel) {
    pictures_[channel]->clear();
    const QString path = EntryOf(channel, ChannelText::Picture)->text();
    if (path.isEmpty()) return;
    QImageReader reader(path);
    const QSize room = pictures_[channel]->size() * devicePixelRatioF();
    reader.setScaledSize(reader.size().scaled(room, Qt::KeepAspectRatio));
    QPixmap picture = QPixmap::fromImage(reader.read());
    picture.setDevicePixelRatio(devicePixelRatioF());
    pictures_[channel]->setPixmap(picture);
}

void ChannelTextsBox::ShowSlot(int slot) {
    slot_ = slot;
    setEnabled(slot > 0);
    setTitle(slot > 0 ? u"Channels of "_s + SlotName(slot) : u"Channels"_s);
    const auto texts = slot > 0 ? ReadChannelTexts(database_, slot) : std::nullopt;
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        for (std::size_t which = 0; which < kChannelTexts; ++which) {
            // Made with a single blank where there is nothing to say.
            entries_[channel][which]->setText(texts.has_value() ? (*texts)[channel][which].trimmed()
                                                                : QString());
        }
        ShowPicture(channel);
    }
}

}  // namespace corvane
