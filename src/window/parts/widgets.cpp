#include "window/parts/widgets.h"

#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include <utility>

#include "link/framer.h"

namespace corvane {

using namespace Qt::StringLiterals;

QPushButton* ActionButton(const QString& text, Actions& actions, Actions::Action action) {
    auto* button = new QPushButton(text);
    button->setEnabled(!actions.Busy());
    QObject::connect(&actions, &Actions::BusyChanged, button,
                     [button](bool busy) { button->setDisabled(busy); });
    QObject::connect(button, &QPushButton::clicked, &actions,
                     [&actions, text, action = std::move(action)] { actions.Run(text, action); });
    return button;
}

QFormLayout* AddSection(QVBoxLayout* page, const QString& title) {
    auto* box = new QGroupBox(title);
    auto* form = new QFormLayout(box);
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    page->addWidget(box);
    return form;
}

QLineEdit* AddEntry(QFormLayout* form, const QString& label, const QString& text) {
    auto* entry = new QLineEdit(text);
    entry->setAccessibleName(label);
    entry->setMaximumWidth(420);
    form->addRow(label, entry);
    return entry;
}

QLabel* TextLabel(const QString& text) {
    auto* label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    label->setWordWrap(true);
    label->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    return label;
}

QWidget* Row(std::initializer_list<QWidget*> widgets) {
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    for (QWidget* widget : widgets) {
        const auto* label = qobject_cast<QLabel*>(widget);
        const bool takesTheRest = label != nullptr && label->wordWrap();
        layout->addWidget(widget, takesTheRest ? 1 : 0);
    }
    layout->addStretch();
    return row;
}

QString PacketCounts(const Framer& framer) {
    const QLocale locale;
    return u"%1 good packets, %2 bad"_s.arg(locale.toString(qulonglong{framer.GoodPackets()}),
                                            locale.toString(framer.BadPackets()));
}

QVBoxLayout* ScrolledLayout(QWidget* page) {
    auto* outer = new QVBoxLayout(page);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* area = new QScrollArea;
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    auto* content = new QWidget;
    area->setWidget(content);
    outer->addWidget(area);
    auto* layout = new QVBoxLayout(content);
    layout->setSpacing(14);
    return layout;
}

}  // namespace corvane
