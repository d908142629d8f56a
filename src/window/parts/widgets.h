// Small pieces that all pages are made of.
#pragma once

#include <QString>

#include <initializer_list>

#include "window/actions.h"

class QBoxLayout;
class QFormLayout;
class QLabel;
class QLineEdit;
class QPushButton;
class QVBoxLayout;
class QWidget;

namespace corvane {

class Framer;

/// A button that runs an action, and is greyed out while anything runs. `text` may end in "...": more is
/// asked.
QPushButton* ActionButton(const QString& text, Actions& actions, Actions::Action action);

/// A titled box in `page`, which the caller fills.
QFormLayout* AddSection(QVBoxLayout* page, const QString& title);

/// An entry beside a label, with the label as its accessible name.
QLineEdit* AddEntry(QFormLayout* form, const QString& label, const QString& text = {});

/// A line that may be selected and copied, wraps, and takes its text as it stands.
QLabel* TextLabel(const QString& text = {});

/// A row of widgets, the first at the left.
QWidget* Row(std::initializer_list<QWidget*> widgets);

/// "12,345 good packets, 2 bad"
[[nodiscard]] QString PacketCounts(const Framer& framer);

/// Makes `page` show a layout that scrolls where the window is too small for it. The caller fills it.
QVBoxLayout* ScrolledLayout(QWidget* page);

}  // namespace corvane
