// The main window over a whole program, used as a person would: by its buttons and boxes.
#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QFileDialog>
#include <QInputDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QTabWidget>
#include <QTest>

#include <gtest/gtest.h>

#include <string>

#include "app/program_fixture.h"
#include "support/loopback.h"
#include "window/main_window.h"
#include "window/page.h"

namespace corvane {

class WindowTest : public ProgramTest {
protected:
    WindowTest() { Preset(QStringLiteral("FirstDeployment"), QStringLiteral("False")); }

    /// Opens the window over a program that has started; with `page` at the front.
    MainWindow& Open(const QString& page = {}) {
        program_ = &Start();
        window_ = std::make_unique<MainWindow>(*program_);
        window_->ShowProgram();
        window_->show();
        if (!page.isEmpty()) ShowPage(page);
        return *window_;
    }

    /// Brings the page of that object name to the front, up to date.
    void ShowPage(const QString& name) {
        auto* page = window_->findChild<Page*>(name);
        ASSERT_NE(page, nullptr) << name.toStdString();
        window_->findChild<QTabWidget*>()->setCurrentWidget(page);
        page->Refresh();
    }

    /// The widget of that class whose text or accessible name is `name`, on `page` (its object name), which
    /// comes to the front.
    template <typename Widget>
    Widget* Find(const QString& page, const QString& name) {
        QWidget* inside = window_->findChild<QWidget*>(page);
        if (inside == nullptr) {
            ADD_FAILURE() << "no page " << page.toStdString();
            return nullptr;
        }
        window_->findChild<QTabWidget*>()->setCurrentWidget(inside);
        for (Widget* widget : inside->findChildren<Widget*>()) {
            if (widget->accessibleName() == name || widget->property("text").toString() == name)
                return widget;
        }
        ADD_FAILURE() << "no " << name.toStdString() << " on " << page.toStdString();
        return nullptr;
    }

    void Click(const QString& page, const QString& button) {
        if (auto* found = Find<QAbstractButton>(page, button)) QTest::mouseClick(found, Qt::LeftButton);
    }

    void Enter(const QString& page, const QString& entry, const QString& text) {
        auto* found = Find<QLineEdit>(page, entry);
        if (found == nullptr) return;
        found->setFocus();
        found->selectAll();
        QTest::keyClicks(found, text);
        QTest::keyClick(found, Qt::Key_Return);
    }

    /// The text of the box that is open, waited for; empty where none comes.
    std::string BoxText() {
        if (!SpinUntil([] { return Box() != nullptr; })) return {};
        return Box()->text().toStdString();
    }

    /// Presses a button of the box that is open, and waits until it is gone.
    void Answer(QMessageBox::StandardButton button) {
        QMessageBox* box = Box();
        ASSERT_NE(box, nullptr);
        QTest::mouseClick(box->button(button), Qt::LeftButton);
        EXPECT_TRUE(SpinUntil([box] { return Box() != box; }));
    }

    /// Answers the dialog that asks for a file.
    void EnterFile(const QString& path) {
        QFileDialog* dialog = nullptr;
        ASSERT_TRUE(SpinUntil([&] {
            for (auto* each : window_->findChildren<QFileDialog*>())
                if (each->isVisible()) dialog = each;  // one that was closed may still be there
            return dialog != nullptr;
        }));
        dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(path);
        static_cast<QDialog*>(dialog)->accept();
    }

    [[nodiscard]] static QMessageBox* Box() {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            auto* box = qobject_cast<QMessageBox*>(widget);
            if (box != nullptr && box->isVisible()) return box;
        }
        return nullptr;
    }

    Program* program_ = nullptr;
    std::unique_ptr<MainWindow> window_;
};

}  // namespace corvane
