#include <QAbstractSpinBox>
#include <QAccessible>
#include <QComboBox>
#include <QLabel>
#include <QScrollArea>

#include "window/page.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

/// Whether a person sets something with it, rather than reads it, scrolls with it, or has it as a part of
/// another one.
bool IsControl(QWidget& widget) {
    if (!widget.isVisible() || !widget.isEnabled()) return false;
    if (qobject_cast<QLabel*>(&widget) != nullptr || qobject_cast<QScrollArea*>(&widget) != nullptr)
        return false;
    QWidget* whole = widget.parentWidget();
    if (qobject_cast<QAbstractSpinBox*>(whole) != nullptr || qobject_cast<QComboBox*>(whole) != nullptr)
        return false;
    QAccessibleInterface* known = QAccessible::queryAccessibleInterface(&widget);
    if (known == nullptr) return false;
    QAccessibleActionInterface* actions = known->actionInterface();
    return known->state().focusable || (actions != nullptr && !actions->actionNames().isEmpty());
}

TEST_F(WindowTest, EveryControlOfEveryPageHasANameAndIsReachedByKeyboard) {
    MainWindow& window = Open();
    const auto pages = window.findChildren<Page*>();
    EXPECT_EQ(pages.size(), 11);
    int controls = 0;
    for (Page* page : pages) {
        ShowPage(page->objectName());
        for (QWidget* widget : page->findChildren<QWidget*>()) {
            if (!IsControl(*widget)) continue;
            ++controls;
            const auto where = page->objectName().toStdString() + ": " + widget->metaObject()->className();
            const QString name = QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name);
            EXPECT_FALSE(name.isEmpty()) << where;
            EXPECT_TRUE((widget->focusPolicy() & Qt::TabFocus) != 0) << where << " " << name.toStdString();
        }
    }
    EXPECT_GT(controls, 150);
}

}  // namespace
}  // namespace corvane
