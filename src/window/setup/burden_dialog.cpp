#include "window/setup/burden_dialog.h"

#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QSpinBox>

#include "measure/ct_burden.h"
#include "window/parts/widgets.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QDoubleSpinBox* Number(double value, double least, double most, int decimals, const QString& suffix) {
    auto* box = new QDoubleSpinBox;
    box->setDecimals(decimals);
    box->setRange(least, most);
    box->setValue(value);
    box->setSuffix(suffix);
    return box;
}

QString BurdenText(const Burden& burden) {
    return u"%1 Ohm: %2 V and %3 W at full load"_s.arg(burden.ohms, 0, 'g', 4)
        .arg(burden.volts, 0, 'g', 4)
        .arg(burden.watts, 0, 'g', 3);
}

}  // namespace

BurdenDialog::BurdenDialog(QWidget* parent)
    : QDialog(parent),
      primary_(Number(100, 0.1, 10'000, 1, u" A"_s)),
      ratio_(Number(2000, 1, 100'000, 1, {})),
      volts_(Number(0.333, 0.001, 100, 3, u" V"_s)),
      parallel_(new QSpinBox),
      result_(TextLabel()) {
    setWindowTitle(u"CT burden calculator"_s);
    parallel_->setRange(1, 20);
    auto* form = new QFormLayout(this);
    form->addRow(u"Primary current at full load"_s, primary_);
    form->addRow(u"Turns, or ratio of the currents"_s, ratio_);
    form->addRow(u"Allowed burden voltage"_s, volts_);
    form->addRow(u"CTs in parallel"_s, parallel_);
    result_->setMinimumWidth(420);
    form->addRow(result_);
    form->addRow(
        TextLabel(u"The secondary currents add up: I = CTs x primary current / turns. The burden is R = V / "
                  u"I, its voltage "
                  "at full load V = R x I and its power P = R x I x I. The values of E24 and E96 are the "
                  "nearest ones; one "
                  "above R gives a little more than the allowed voltage."_s));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    form->addRow(buttons);
    for (QDoubleSpinBox* box : {primary_, ratio_, volts_})
        connect(box, &QDoubleSpinBox::valueChanged, this, &BurdenDialog::Calculate);
    connect(parallel_, &QSpinBox::valueChanged, this, &BurdenDialog::Calculate);
    Calculate();
}

void BurdenDialog::Calculate() {
    const CurrentTransformers transformers{
        .primaryAmps = primary_->value(), .turnsRatio = ratio_->value(), .parallel = parallel_->value()};
    const Burden exact = BurdenFor(transformers, volts_->value());
    result_->setText(u"Exact: %1\nE24: %2\nE96: %3"_s.arg(
        BurdenText(exact), BurdenText(BurdenOf(transformers, NearestE24(exact.ohms))),
        BurdenText(BurdenOf(transformers, NearestE96(exact.ohms)))));
}

}  // namespace corvane
