#include "window/window_operator.h"

#include <QCoroSignal>
#include <QFileDialog>
#include <QInputDialog>
#include <QMessageBox>
#include <QPushButton>

#include <memory>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// Deleted once its wait is over: one that deletes itself on closing would never end it.
template <typename Dialog>
using Owned = std::unique_ptr<Dialog>;

}  // namespace

void WindowOperator::Show(const QString& text) {
    const QString shown = text.trimmed();
    if (shown.isEmpty() || ended_) return;
    if (message_ != nullptr && message_->isVisible()) {
        message_->setText(message_->text() + u"\n\n"_s + shown);
        return;
    }
    message_ = new QMessageBox(QMessageBox::Information, u"Corvane"_s, shown, QMessageBox::Ok, &window_);
    message_->setAttribute(Qt::WA_DeleteOnClose);
    message_->setTextFormat(Qt::PlainText);
    message_->open();
}

QCoro::Task<Answer> WindowOperator::Ask(Question question) {
    if (ended_) co_return question.safe;
    const Owned<QMessageBox> box = std::make_unique<QMessageBox>(&window_);
    box->setIcon(QMessageBox::Question);
    box->setWindowTitle(question.title.isEmpty() ? u"Corvane"_s : question.title);
    box->setTextFormat(Qt::PlainText);
    box->setText(question.text.trimmed());
    QPushButton* yes = box->addButton(QMessageBox::Yes);
    QPushButton* no = box->addButton(QMessageBox::No);
    if (!question.yes.isEmpty()) yes->setText(question.yes);
    if (!question.no.isEmpty()) no->setText(question.no);
    QPushButton* safe = question.safe == Answer::Yes ? yes : no;
    box->setDefaultButton(safe);
    // Without a button of its own, the Escape key would be taken for No.
    box->setEscapeButton(question.cancellable ? box->addButton(QMessageBox::Cancel) : safe);
    question_ = box.get();
    box->open();
    co_await qCoro(box.get(), &QDialog::finished);
    if (box->clickedButton() == yes) co_return Answer::Yes;
    if (box->clickedButton() == no) co_return Answer::No;
    co_return question.cancellable ? Answer::Cancel : question.safe;
}

QCoro::Task<std::optional<QString>> WindowOperator::AskText(QString prompt) {
    if (ended_) co_return std::nullopt;
    const Owned<QInputDialog> dialog = std::make_unique<QInputDialog>(&window_);
    dialog->setWindowTitle(u"Corvane"_s);
    dialog->setLabelText(prompt);
    question_ = dialog.get();
    dialog->open();
    const int result = co_await qCoro(dialog.get(), &QDialog::finished);
    if (result != QDialog::Accepted) co_return std::nullopt;
    co_return dialog->textValue();
}

QCoro::Task<std::optional<QString>> WindowOperator::AskFile(FileQuestion question) {
    if (ended_) co_return std::nullopt;
    const Owned<QFileDialog> dialog = std::make_unique<QFileDialog>(&window_, question.prompt);
    dialog->setNameFilter(u".%1 (*.%1)"_s.arg(question.kind));
    dialog->setDefaultSuffix(question.kind);
    dialog->setAcceptMode(question.toMake ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
    dialog->setFileMode(question.toMake ? QFileDialog::AnyFile : QFileDialog::ExistingFile);
    // Whoever asks for a file has a question of their own for one that exists.
    dialog->setOption(QFileDialog::DontConfirmOverwrite);
    if (!question.suggestion.isEmpty()) dialog->selectFile(question.suggestion);
    question_ = dialog.get();
    dialog->open();
    const int result = co_await qCoro(dialog.get(), &QDialog::finished);
    if (result != QDialog::Accepted || dialog->selectedFiles().isEmpty()) co_return std::nullopt;
    co_return dialog->selectedFiles().constFirst();
}

void WindowOperator::EndQuestions() {
    ended_ = true;
    if (auto* dialog = qobject_cast<QDialog*>(question_.data())) dialog->reject();
    if (message_ != nullptr) message_->close();
}

}  // namespace corvane
