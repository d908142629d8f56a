// How a link stands: a small light, the state in words, and what else there is to say below.
#pragma once

#include <QWidget>

class QLabel;

namespace corvane {

class StateLine final : public QWidget {
    Q_OBJECT

public:
    enum class Light { Off, Waiting, On, Active, Fault };

    /// `name` is that of the link, for those who cannot see where it stands. There is room for so many lines
    /// of the notice at all times, so that nothing below moves when one comes and goes.
    explicit StateLine(const QString& name, int noticeLines = 2);

    /// The color says nothing that `state` does not say, too.
    void Show(Light light, const QString& state, const QString& notice);

private:
    class Lamp;

    QString name_;
    Lamp* lamp_;
    QLabel* state_;
    QLabel* notice_;
};

/// A label for what is said in passing: paler than the rest.
QLabel* PaleLabel(const QString& text = {});

}  // namespace corvane
