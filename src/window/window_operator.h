// The person at the window: messages and questions in boxes over it.
#pragma once

#include <QObject>
#include <QPointer>

#include "base/operator.h"

class QMessageBox;
class QWidget;

namespace corvane {

class WindowOperator final : public QObject, public Operator {
    Q_OBJECT

public:
    /// The boxes belong to `window`, which must outlive this object.
    explicit WindowOperator(QWidget& window) : window_(window) {}

    /// In a box; a further text joins a box that is still open.
    void Show(const QString& text) override;
    QCoro::Task<Answer> Ask(Question question) override;
    QCoro::Task<std::optional<QString>> AskText(QString prompt) override;
    QCoro::Task<std::optional<QString>> AskFile(FileQuestion question) override;
    void ShowProgress(const Progress& progress) override { Q_EMIT ProgressTold(progress); }
    [[nodiscard]] bool WantsCancel() const override { return cancelled_; }

    /// Whether what runs is to be given up.
    void SetCancelled(bool cancelled) { cancelled_ = cancelled; }

    /// Closes the question that is open, which gives its safe answer, and answers all further ones that way.
    void EndQuestions();

Q_SIGNALS:
    void ProgressTold(const Progress& progress);

private:
    QWidget& window_;
    QPointer<QMessageBox> message_;
    QPointer<QWidget> question_;
    bool cancelled_ = false;
    bool ended_ = false;
};

}  // namespace corvane
