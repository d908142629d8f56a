#include "window/past/charts_page.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <cmath>

#include "store/settings_store.h"
#include "window/actions.h"
#include "window/parts/widgets.h"
#include "window/past/channel_panel.h"
#include "window/past/chart_settings.h"
#include "window/past/chart_view.h"
#include "window/past/history_choices.h"
#include "window/past/period_bar.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// What a bar may stand for; by `CalendarUnit`.
struct BarUnit {
    const char* choice;
    const char* name;
};
constexpr std::array<BarUnit, 5> kBarUnits = {{{"per hour", "hour"},
                                               {"per day", "day"},
                                               {"per week", "week"},
                                               {"per month", "month"},
                                               {"per year", "year"}}};

constexpr const char* kButtonStyle = R"(
QToolButton { padding: 5px 12px; border: 1px solid palette(mid); border-radius: 6px; background: palette(button); }
QToolButton:hover, QToolButton:focus { border-color: palette(highlight); }
QToolButton:checked {
    background: palette(highlight); color: palette(highlighted-text); border-color: palette(highlight);
}
#frame { background: palette(base); border: 1px solid palette(midlight); border-radius: 8px; }
)";

}  // namespace

ChartsPage::ChartsPage(const CaptureDatabase& database, const DatabaseFiles& files, SettingsStore& settings,
                       Clock& clock, Actions& actions)
    : settings_(settings),
      source_(database, files, clock),
      export_(database, files, clock),
      view_(new ChartView),
      period_(new PeriodBar(settings)),
      channels_(new ChannelPanel(settings)),
      device_(new QComboBox),
      measure_(new QButtonGroup(this)),
      bars_(new QComboBox),
      note_(TextLabel()) {
    setStyleSheet(QString::fromLatin1(kButtonStyle));
    auto* page = new QVBoxLayout(this);
    page->setContentsMargins(12, 12, 12, 12);
    page->setSpacing(10);
    page->addWidget(ChoiceBar(actions));
    page->addWidget(period_);
    page->addWidget(Chart(), 1);
    note_->setAccessibleName(u"Notes"_s);
    page->addWidget(note_);
    Connect();
    Choose();
    period_->WantToday();
}

QWidget* ChartsPage::ChoiceBar(Actions& actions) {
    auto* bar = new QWidget;
    auto* row = new QHBoxLayout(bar);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(14);
    device_->setAccessibleName(u"Device"_s);
    device_->setMinimumWidth(190);
    row->addWidget(device_);
    row->addWidget(ButtonRow(*measure_, {u"Power"_s, u"Energy"_s, u"Cost"_s}));
    measure_->button(settings_.Number(kChartMeasure))->setChecked(true);
    bars_->setAccessibleName(u"Bars"_s);
    for (const BarUnit& unit : kBarUnits)
        bars_->addItem(QString::fromLatin1(unit.choice));
    bars_->setCurrentIndex(settings_.Number(kChartBars));
    row->addWidget(bars_);
    row->addStretch();
    row->addWidget(
        ActionButton(u"Save picture..."_s, actions, [this](Operator& op) { return SavePicture(op); }));
    row->addWidget(ActionButton(u"Save CSV..."_s, actions, [this](Operator& op) { return SaveCsv(op); }));
    return bar;
}

/// The chart with its channels beside it.
QWidget* ChartsPage::Chart() {
    auto* frame = new QFrame;
    frame->setObjectName(u"frame"_s);
    auto* framed = new QVBoxLayout(frame);
    framed->setContentsMargins(8, 8, 8, 8);
    framed->addWidget(view_);
    auto* chart = new QWidget;
    auto* row = new QHBoxLayout(chart);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(12);
    row->addWidget(frame, 1);
    row->addWidget(channels_);
    return chart;
}

void ChartsPage::Connect() {
    connect(device_, &QComboBox::currentIndexChanged, this, [this] {
        settings_.Save(kChartDevice, QString::fromStdString(Address()));
        Choose();
        Look();
    });
    connect(measure_, &QButtonGroup::idClicked, this, [this](int id) {
        settings_.Save(kChartMeasure, id);
        Choose();
    });
    connect(bars_, &QComboBox::currentIndexChanged, this, [this](int index) {
        settings_.Save(kChartBars, index);
        Choose();
    });
    connect(channels_, &ChannelPanel::ChoiceChanged, this, &ChartsPage::Choose);
    connect(period_, &PeriodBar::SpanWanted, view_, &ChartView::SetSpan);
    connect(period_, &PeriodBar::BarsWanted, this,
            [this](CalendarUnit unit) { bars_->setCurrentIndex(static_cast<int>(unit)); });
    connect(view_, &ChartView::SpanMoved, this, [this] {
        period_->ShowSpan(view_->From(), view_->To());
        ShowValues();
        Look();
    });
    connect(view_, &ChartView::CursorMoved, this, &ChartsPage::ShowValues);
    connect(&source_, &ChartSource::DevicesChanged, this, &ChartsPage::ShowDevices);
    connect(&source_, &ChartSource::HistoryChanged, this, [this] {
        view_->Show(source_.History());
        ShowValues();
    });
    connect(&source_, &ChartSource::StateChanged, this, [this] { view_->Say(source_.StateText()); });
}

void ChartsPage::showEvent(QShowEvent* event) {
    Page::showEvent(event);
    source_.WantDevices();
}

void ChartsPage::ShowDevices() {
    const QString chosen = settings_.Value(kChartDevice);
    const QSignalBlocker blocked(device_);
    device_->clear();
    for (const HistoryDevice& device : source_.Devices())
        device_->addItem(DeviceName(device), QString::fromStdString(device.address));
    device_->setCurrentIndex(std::max(device_->findData(chosen), device_->count() > 0 ? 0 : -1));
    Choose();
    Look();
}

void ChartsPage::Choose() {
    const auto& devices = source_.Devices();
    const auto index = static_cast<std::size_t>(device_->currentIndex());  // beyond all where it is -1
    channels_->Name(index < devices.size() ? devices[index].labels : std::array<std::string, kChannels>());
    ChartView::Choice choice;
    choice.measure = static_cast<Measure>(measure_->checkedId());
    choice.unit = static_cast<CalendarUnit>(bars_->currentIndex());
    choice.channels = channels_->Chosen();
    bars_->setEnabled(choice.measure != Measure::Power);
    view_->Choose(choice);
    ShowValues();
}

void ChartsPage::Look() {
    source_.Look(Address(), view_->From(), view_->To());
}

void ChartsPage::ShowValues() {
    channels_->ShowValues(view_->PointedAt());
    const bool power = static_cast<Measure>(measure_->checkedId()) == Measure::Power;
    const std::array<bool, kChannels> chosen = channels_->Chosen();
    double between = 0;
    for (std::size_t channel = 0; channel < kChannels; ++channel)
        if (chosen[channel]) between += std::abs(view_->Bars().between[channel]);
    QStringList notes;
    if (between >= 0.005) {
        const auto unit = static_cast<std::size_t>(power ? 0 : bars_->currentIndex());
        notes += u"%1 kWh belong to gaps that reach from one %2 into another; they are in none."_s.arg(
            QLocale().toString(between, 'f', 2), QLatin1StringView(kBarUnits[unit].name));
    }
    if (!power) notes += u"Paler bars are known in part only."_s;
    note_->setText(notes.join(u' '));
    note_->setVisible(!notes.isEmpty());
}

/// Of the device that is chosen; empty where there is none.
std::string ChartsPage::Address() const {
    return device_->currentData().toString().toStdString();
}

QCoro::Task<Outcome> ChartsPage::SavePicture(Operator& op) {
    const std::optional<QString> path =
        co_await FileExport::AskPath(u"Save the chart as a picture"_s, u"png"_s, op);
    if (!path) co_return Outcome::Success();
    if (!view_->savePng(*path, 0, 0, 2))
        co_return Outcome::Failure(u"The picture could not be written to %1"_s.arg(*path));
    co_return Outcome::Success();
}

QCoro::Task<Outcome> ChartsPage::SaveCsv(Operator& op) {
    return export_.Run(
        u"Save the values of the chart"_s,
        [this](std::string path) {
            const auto& history = source_.History();
            const bool power = static_cast<Measure>(measure_->checkedId()) == Measure::Power;
            if (!power || history == nullptr)
                return ExportBars(std::move(path), view_->Bars().bars, channels_->Shown());
            return ExportPower(std::move(path), history, channels_->Shown(), view_->From(), view_->To());
        },
        op);
}

}  // namespace corvane
