// What a person sees of a part of the window, and does in the boxes that come up.
#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QTest>

#include <gtest/gtest.h>

#include <vector>

#include "support/loopback.h"
#include "window/parts/palette.h"
#include "window/parts/state_line.h"

namespace corvane {

/// By what is painted: one that is active has a halo.
inline QString LightOf(QWidget& lamp) {
    const QImage shown = lamp.grab().toImage();
    const Palette& colors = PaletteOn(lamp.palette().color(QPalette::Window));
    const QColor color = shown.pixelColor(shown.rect().center());
    const bool halo = shown.pixelColor(shown.width() * 3 / 20, shown.height() / 2) != shown.pixelColor(0, 0);
    if (color == colors.live) return QLatin1StringView(halo ? "active" : "on");
    return QLatin1StringView(color == colors.stale ? "waiting" : color == colors.lost ? "fault" : "off");
}

inline QString SeenOf(QWidget& widget) {
    if (qobject_cast<StateLine*>(widget.parentWidget()) != nullptr &&
        widget.metaObject()->className() == QByteArrayView("QWidget"))
        return LightOf(widget);
    if (const auto* label = qobject_cast<QLabel*>(&widget))
        return label->buddy() == nullptr ? label->text() : QString();
    if (const auto* choice = qobject_cast<QComboBox*>(&widget)) return u'<' + choice->currentText() + u'>';
    if (const auto* entry = qobject_cast<QLineEdit*>(&widget)) return u'[' + entry->displayText() + u']';
    const auto* button = qobject_cast<QAbstractButton*>(&widget);
    if (button == nullptr) return {};
    if (!button->isCheckable()) return u'(' + button->text() + u')';
    return QLatin1StringView(button->isChecked() ? "x " : "o ") + button->text();
}

/// All that `part` shows, in order: "waiting Listening (Stop) -(Listen) [4711] <None> x Forward"; a minus
/// stands before what cannot be used now, x and o before what is and is not chosen.
inline std::string Seen(const QWidget* part) {
    QStringList seen;
    for (QWidget* widget : part->findChildren<QWidget*>()) {
        const QString text =
            widget->isVisible() && qobject_cast<QComboBox*>(widget->parentWidget()) == nullptr
                ? SeenOf(*widget)
                : QString();
        if (!text.isEmpty()) seen += (widget->isEnabled() ? text : u'-' + text);
    }
    return seen.join(u' ').toStdString();
}

/// Return takes what a box proposes, Escape leaves it without an answer.
enum class Press { Return, Escape, Yes, No, Cancel };
using enum Press;

struct Step {
    const char* part;  ///< of the text of the box
    Press press = Return;
};

[[nodiscard]] inline QMessageBox* BoxThatSays(const char* part) {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        auto* box = qobject_cast<QMessageBox*>(widget);
        if (box != nullptr && box->isVisible() && box->text().contains(QString::fromUtf8(part))) return box;
    }
    return nullptr;
}

/// Goes through the boxes as they come. One that does not come, or does not go, ends the way.
inline void Through(const std::vector<Step>& steps) {
    for (const auto& [part, press] : steps) {
        QPointer<QMessageBox> box;
        const bool came = SpinUntil([&, &wanted = part] { return (box = BoxThatSays(wanted)) != nullptr; });
        const QMessageBox* other = BoxThatSays("");
        ASSERT_TRUE(came) << part << "\n" << (other == nullptr ? "no box" : other->text().toStdString());
        if (press == Return || press == Escape) {
            QTest::keyClick(box, press == Return ? Qt::Key_Return : Qt::Key_Escape);
        } else {
            box->button(press == Yes  ? QMessageBox::Yes
                        : press == No ? QMessageBox::No
                                      : QMessageBox::Cancel)
                ->click();
        }
        ASSERT_TRUE(SpinUntil([&] { return box == nullptr || !box->isVisible(); })) << part;
    }
}

}  // namespace corvane
