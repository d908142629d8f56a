#include "window/past/history_choices.h"

#include <QHBoxLayout>
#include <QToolButton>

#include "store/schema.h"

namespace corvane {

using namespace Qt::StringLiterals;

QString DeviceName(const HistoryDevice& device) {
    if (device.address == kVirtualDevice) return u"Virtual device"_s;
    QString address = QString::fromStdString(device.address);
    if (device.id < 1 || device.id > 6) return address;
    return u"Device %1 (%2)"_s.arg(QChar(u'A' + device.id - 1)).arg(address);
}

QWidget* ButtonRow(QButtonGroup& group, const QStringList& names) {
    auto* buttons = new QWidget;
    auto* row = new QHBoxLayout(buttons);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(2);
    for (const QString& name : names) {
        auto* button = new QToolButton;
        button->setText(name);
        button->setCheckable(true);
        group.addButton(button, static_cast<int>(group.buttons().size()));
        row->addWidget(button);
    }
    return buttons;
}

QDateEdit* DayEntry(const QString& name) {
    auto* entry = new QDateEdit;
    entry->setDisplayFormat(u"yyyy-MM-dd"_s);
    entry->setCalendarPopup(true);
    entry->setAccessibleName(name);
    return entry;
}

}  // namespace corvane
