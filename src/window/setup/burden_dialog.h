// A calculator for the burden resistor of current transformers.
#pragma once

#include <QDialog>

class QDoubleSpinBox;
class QLabel;
class QSpinBox;

namespace corvane {

class BurdenDialog final : public QDialog {
    Q_OBJECT

public:
    explicit BurdenDialog(QWidget* parent);

private:
    void Calculate();

    QDoubleSpinBox* primary_;
    QDoubleSpinBox* ratio_;
    QDoubleSpinBox* volts_;
    QSpinBox* parallel_;
    QLabel* result_;
};

}  // namespace corvane
