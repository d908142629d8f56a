#include "window/past/charts_page.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

#include "app/program.h"
#include "base/clock.h"
#include "window/actions.h"
#include "window/parts/palette.h"
#include "window/parts/state_line.h"
#include "window/parts/widgets.h"
#include "window/past/chart_view.h"
#include "window/past/history_choices.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QString kDeviceKey = u"ChartDevice"_s;
const QString kMeasureKey = u"ChartMeasure"_s;
const QString kUnitKey = u"ChartBars"_s;
const QString kPeriodKey = u"ChartPeriod"_s;
const QString kChartChannelsKey = u"ChartChannels"_s;

constexpr std::int64_t kReadAgainAfter = 60'000;  // ms: records come once a minute

QDate DateOf(WallTime time) {
    return QDateTime::fromSecsSinceEpoch(time, Qt::UTC).date();
}

WallTime MidnightOf(QDate day) {
    return QDateTime(day, QTime(0, 0), Qt::UTC).toSecsSinceEpoch();
}

/// Small buttons of which one is down.
constexpr const char* kButtonStyle = R"(
QToolButton { padding: 5px 12px; border: 1px solid palette(mid); border-radius: 6px; background: palette(button); }
QToolButton:hover, QToolButton:focus { border-color: palette(highlight); }
QToolButton:checked {
    background: palette(highlight); color: palette(highlighted-text); border-color: palette(highlight);
}
#frame { background: palette(base); border: 1px solid palette(midlight); border-radius: 8px; }
)";

QFrame* Line() {
    auto* line = new QFrame;
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Plain);
    line->setForegroundRole(QPalette::Midlight);
    return line;
}

/// The units of the calendar that a period may be, and the bars that are right for it.
struct PeriodKind {
    CalendarUnit unit;
    CalendarUnit bars;
};
constexpr std::array<PeriodKind, 4> kPeriods = {{{CalendarUnit::Day, CalendarUnit::Hour},
                                                 {CalendarUnit::Week, CalendarUnit::Day},
                                                 {CalendarUnit::Month, CalendarUnit::Day},
                                                 {CalendarUnit::Year, CalendarUnit::Month}}};

}  // namespace

ChartsPage::ChartsPage(Program& program, Actions& actions)
    : program_(program), actions_(actions), export_(program), view_(new ChartView) {
    setStyleSheet(QString::fromLatin1(kButtonStyle));
    auto* page = new QVBoxLayout(this);
    page->setContentsMargins(12, 12, 12, 12);
    page->setSpacing(10);
    page->addWidget(ChoiceBar());
    page->addWidget(PeriodBar());
    auto* middle = new QHBoxLayout;
    middle->setSpacing(12);
    auto* frame = new QFrame;
    frame->setObjectName(u"frame"_s);
    auto* framed = new QVBoxLayout(frame);
    framed->setContentsMargins(8, 8, 8, 8);
    framed->addWidget(view_);
    middle->addWidget(frame, 1);
    middle->addWidget(ChannelPanel());
    page->addLayout(middle, 1);
    note_ = TextLabel();
    note_->setAccessibleName(u"Notes"_s);
    page->addWidget(note_);
    TakePalette();

    connect(view_, &ChartView::SpanMoved, this, [this] {
        ShowDates();
        ShowValues();
        Read(Wanted::Missing);
    });
    connect(view_, &ChartView::CursorMoved, this, &ChartsPage::ShowValues);
    connect(&program_.databaseFiles, &DatabaseFiles::Adopted, this, [this] {
        devices_.clear();
        history_ = nullptr;
        view_->Show(nullptr);
    });
    Choose();
    ShowPeriod(kPeriods[static_cast<std::size_t>(period_->checkedId())].unit, QDate::currentDate());
}

ChartsPage::~ChartsPage() {
    ending_ = true;
    worker_.End();
}

QButtonGroup* ChartsPage::AddButtons(QHBoxLayout* bar, const QStringList& names) {
    auto* group = new QButtonGroup(this);
    auto* row = new QHBoxLayout;
    row->setSpacing(2);
    for (const QString& name : names) {
        auto* button = new QToolButton;
        button->setText(name);
        button->setCheckable(true);
        group->addButton(button, static_cast<int>(group->buttons().size()));
        row->addWidget(button);
    }
    bar->addLayout(row);
    return group;
}

QWidget* ChartsPage::ChoiceBar() {
    auto* bar = new QWidget;
    auto* row = new QHBoxLayout(bar);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(14);
    device_ = new QComboBox;
    device_->setAccessibleName(u"Device"_s);
    device_->setMinimumWidth(190);
    connect(device_, &QComboBox::currentIndexChanged, this, [this] {
        program_.settings.SaveSetting(kDeviceKey, QString::fromStdString(Address()));
        history_ = nullptr;
        view_->Show(nullptr);
        Choose();
        Read(Wanted::Missing);
    });
    row->addWidget(device_);
    measure_ = AddButtons(row, {u"Power"_s, u"Energy"_s, u"Cost"_s});
    measure_->button(program_.settings.GetNumber(kMeasureKey, 0, 0, 2))->setChecked(true);
    connect(measure_, &QButtonGroup::idClicked, this, [this](int id) {
        program_.settings.SaveSetting(kMeasureKey, QString::number(id));
        Choose();
    });
    unit_ = new QComboBox;
    unit_->setAccessibleName(u"Bars"_s);
    unit_->addItems({u"per hour"_s, u"per day"_s, u"per week"_s, u"per month"_s, u"per year"_s});
    unit_->setCurrentIndex(program_.settings.GetNumber(kUnitKey, 0, 0, 4));
    connect(unit_, &QComboBox::currentIndexChanged, this, [this](int index) {
        program_.settings.SaveSetting(kUnitKey, QString::number(index));
        Choose();
    });
    row->addWidget(unit_);
    row->addStretch();
    row->addWidget(
        ActionButton(u"Save picture..."_s, actions_, [this](Operator& op) { return SavePicture(op); }));
    row->addWidget(ActionButton(u"Save CSV..."_s, actions_, [this](Operator& op) {
        return export_.Run(
            u"Save the values of the chart"_s,
            [this](std::string path) {
                if (measure_->checkedId() != 0 || history_ == nullptr)
                    return ExportBars(std::move(path), view_->Bars().bars, Shown());
                return ExportPower(std::move(path), history_, Shown(), view_->From(), view_->To());
            },
            op);
    }));
    return bar;
}

QWidget* ChartsPage::PeriodBar() {
    auto* bar = new QWidget;
    auto* row = new QHBoxLayout(bar);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(14);
    period_ = AddButtons(row, {u"Day"_s, u"Week"_s, u"Month"_s, u"Year"_s});
    period_->button(program_.settings.GetNumber(kPeriodKey, 0, 0, 3))->setChecked(true);
    connect(period_, &QButtonGroup::idClicked, this, [this](int id) {
        program_.settings.SaveSetting(kPeriodKey, QString::number(id));
        const auto& kind = kPeriods[static_cast<std::size_t>(id)];
        unit_->setCurrentIndex(static_cast<int>(kind.bars));
        // The newest period that is in sight, but not one that is yet to come.
        ShowPeriod(kind.unit, std::min(DateOf(view_->To() - 1), QDate::currentDate()));
    });
    const auto addButton = [this](QHBoxLayout* to, const QString& text, const QString& name, auto clicked) {
        auto* button = new QToolButton;
        button->setText(text);
        button->setAccessibleName(name);
        button->setToolTip(name);
        connect(button, &QToolButton::clicked, this, clicked);
        to->addWidget(button);
    };
    auto* dates = new QHBoxLayout;
    dates->setSpacing(6);
    addButton(dates, u"\u2039"_s, u"Earlier"_s, [this] { MovePeriod(-1); });
    for (const auto& [entry, name] : {std::pair{&first_, u"First day"_s}, std::pair{&last_, u"Last day"_s}}) {
        *entry = DayEntry(name);
        if (entry == &last_) dates->addWidget(new QLabel(u"\u2013"_s));
        dates->addWidget(*entry);
        connect(*entry, &QDateEdit::dateChanged, this, [this] {
            if (first_->date() <= last_->date())
                view_->SetSpan(MidnightOf(first_->date()), MidnightOf(last_->date().addDays(1)));
        });
    }
    addButton(dates, u"\u203a"_s, u"Later"_s, [this] { MovePeriod(1); });
    row->addLayout(dates);
    addButton(row, u"Today"_s, u"Today"_s, [this] {
        const int id = std::max(period_->checkedId(), 0);
        ShowPeriod(kPeriods[static_cast<std::size_t>(id)].unit, QDate::currentDate());
    });
    row->addStretch();
    return bar;
}

QWidget* ChartsPage::ChannelPanel() {
    auto* panel = new QWidget;
    panel->setMinimumWidth(fontMetrics().averageCharWidth() * 38);
    panel->setMaximumWidth(fontMetrics().averageCharWidth() * 60);
    auto* grid = new QGridLayout(panel);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(10);
    grid->setVerticalSpacing(10);
    grid->setColumnStretch(0, 1);
    grid->setColumnMinimumWidth(1, fontMetrics().horizontalAdvance(u"-00,000 kWh"_s));  // else it jumps about
    valuesName_ = new QLabel;
    valuesName_->setAccessibleName(u"Values of"_s);
    QFont strong = font();
    strong.setBold(true);
    valuesName_->setFont(strong);
    grid->addWidget(valuesName_, 0, 0, 1, 2);
    grid->addWidget(Line(), 1, 0, 1, 2);
    const QString shown =
        program_.settings.GetSetting(kChartChannelsKey, u"1100000"_s).leftJustified(7, u'0');
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        auto* box = new QCheckBox;
        box->setChecked(shown[static_cast<qsizetype>(channel)] == u'1');
        connect(box, &QCheckBox::toggled, this, [this] {
            QString mask;
            for (const QCheckBox* each : channels_)
                mask += each->isChecked() ? u'1' : u'0';
            program_.settings.SaveSetting(kChartChannelsKey, mask);
            Choose();
        });
        channels_[channel] = box;
        values_[channel] = new QLabel;
        values_[channel]->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        const int row = static_cast<int>(channel) + 2;
        grid->addWidget(box, row, 0);
        grid->addWidget(values_[channel], row, 1);
    }
    grid->setRowStretch(static_cast<int>(kChannels) + 2, 1);
    QLabel* hint = PaleLabel(
        u"Drag to move, turn the wheel to zoom. Keys: \u2190 \u2192 move, + \u2212 zoom, Ctrl with "
        u"\u2190 \u2192 points at a time."_s);
    hint->setWordWrap(true);
    grid->addWidget(hint, static_cast<int>(kChannels) + 3, 0, 1, 2);
    return panel;
}

void ChartsPage::TakePalette() {
    const auto& colors = PaletteOn(palette().color(QPalette::Base)).channels;
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        const double ratio = devicePixelRatioF();
        QPixmap swatch(QSize(12, 12) * ratio);
        swatch.setDevicePixelRatio(ratio);
        swatch.fill(Qt::transparent);
        QPainter painter(&swatch);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(colors[channel]);
        painter.drawRoundedRect(QRectF(0, 0, 12, 12), 3, 3);
        painter.end();
        channels_[channel]->setIcon(swatch);
    }
}

void ChartsPage::changeEvent(QEvent* event) {
    Page::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && values_.back() != nullptr) TakePalette();
}

void ChartsPage::showEvent(QShowEvent* event) {
    Page::showEvent(event);
    devicesWanted_ = true;
}

void ChartsPage::Choose() {
    ChartView::Choice choice;
    choice.measure = static_cast<Measure>(measure_->checkedId());
    choice.unit = static_cast<CalendarUnit>(unit_->currentIndex());
    const int index = device_->currentIndex();
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        QString name = QString::fromLatin1(ChannelName(channel));
        if (index >= 0) {
            const std::string& label = devices_[static_cast<std::size_t>(index)].labels[channel];
            if (!label.empty()) name += u"  "_s + QString::fromStdString(label);
        }
        channels_[channel]->setText(name);
        channels_[channel]->setToolTip(name);
        values_[channel]->setAccessibleName(u"Value of "_s + name);
        choice.channels[channel] = channels_[channel]->isChecked();
    }
    unit_->setEnabled(choice.measure != Measure::Power);
    view_->Choose(choice);
    ShowValues();
}

void ChartsPage::ShowPeriod(CalendarUnit unit, QDate day) {
    const WallTime from = StartOf(unit, MidnightOf(day));
    view_->SetSpan(from, NextStart(unit, from));
}

void ChartsPage::MovePeriod(int periods) {
    const int id = period_->checkedId();
    if (id >= 0) {
        const CalendarUnit unit = kPeriods[static_cast<std::size_t>(id)].unit;
        return ShowPeriod(unit, periods < 0 ? DateOf(StartOf(unit, view_->From()) - 1)
                                            : DateOf(NextStart(unit, view_->From())));
    }
    const WallTime length = view_->To() - view_->From();
    view_->SetSpan(view_->From() + periods * length, view_->To() + periods * length);
}

/// The dates and the button of the period follow what is shown.
void ChartsPage::ShowDates() {
    const QSignalBlocker firstBlocked(first_);
    const QSignalBlocker lastBlocked(last_);
    first_->setDate(DateOf(view_->From()));
    last_->setDate(DateOf(view_->To() - 1));
    period_->setExclusive(false);
    for (QAbstractButton* button : period_->buttons()) {
        const CalendarUnit unit = kPeriods[static_cast<std::size_t>(period_->id(button))].unit;
        button->setChecked(StartOf(unit, view_->From()) == view_->From() &&
                           NextStart(unit, view_->From()) == view_->To());
    }
    period_->setExclusive(true);
}

void ChartsPage::ShowValues() {
    const ChartView::Values values = view_->PointedAt();
    valuesName_->setText(values.name);
    for (std::size_t channel = 0; channel < kChannels; ++channel)
        values_[channel]->setText(values.texts[channel]);
    double between = 0;
    for (std::size_t channel = 0; channel < kChannels; ++channel)
        if (channels_[channel]->isChecked()) between += std::abs(view_->Bars().between[channel]);
    QStringList notes;
    if (between >= 0.005)
        notes += u"%1 kWh belong to gaps that reach from one %2 into another; they are in none."_s.arg(
            QLocale().toString(between, 'f', 2),
            measure_->checkedId() == 0 ? u"hour"_s : unit_->currentText().mid(4));
    if (measure_->checkedId() != 0) notes += u"Paler bars are known in part only."_s;
    note_->setText(notes.join(u' '));
    note_->setVisible(!notes.isEmpty());
}

void ChartsPage::ShowState() {
    QString text;
    if (worker_.Busy() && history_ == nullptr)
        text = u"Reading..."_s;
    else if (!error_.empty())
        text = u"Reading failed: "_s + QString::fromStdString(error_);
    view_->Say(text);
}

std::string ChartsPage::Address() const {
    const int index = device_->currentIndex();
    return index < 0 ? std::string() : devices_[static_cast<std::size_t>(index)].address;
}

ShownChannels ChartsPage::Shown() const {
    ShownChannels shown;
    for (std::size_t channel = 0; channel < kChannels; ++channel)
        if (channels_[channel]->isChecked()) shown[channel] = channels_[channel]->text().toStdString();
    return shown;
}

void ChartsPage::Refresh() {
    if (worker_.Busy()) return;
    if (devicesWanted_ || devices_.empty())
        ReadDeviceList();
    else
        Read(program_.clock.Monotonic() - lastRead_ >= kReadAgainAfter ? Wanted::Newer : Wanted::Missing);
}

QCoro::Task<> ChartsPage::ReadDeviceList() {
    devicesWanted_ = false;
    const QueryResult result = co_await worker_.Run(program_.database.databasePath(), ReadDevices());
    if (ending_) co_return;
    error_ = result.errorText;
    devicesWanted_ = devicesWanted_ || !result.Ok();
    if (result.Ok()) TakeDevices(DevicesOf(result));
    ShowState();
}

void ChartsPage::TakeDevices(std::vector<HistoryDevice> devices) {
    if (devices == devices_) return Read(Wanted::All);
    const QString chosen = program_.settings.GetSetting(kDeviceKey);
    const QSignalBlocker blocked(device_);
    device_->clear();
    devices_ = std::move(devices);
    for (const HistoryDevice& device : devices_) {
        device_->addItem(DeviceName(device));
        if (chosen == QString::fromStdString(device.address)) device_->setCurrentIndex(device_->count() - 1);
    }
    if (history_ != nullptr && history_->address != Address()) {
        history_ = nullptr;
        view_->Show(nullptr);
    }
    Choose();
    Read(Wanted::All);
}

void ChartsPage::Read(Wanted wanted) {
    if (ending_ || worker_.Busy() || Address().empty()) return;
    // Whole years, so that moving about in them reads nothing.
    const WallTime from = StartOf(CalendarUnit::Year, view_->From()) - kWallDay;
    const WallTime to = NextStart(CalendarUnit::Year, view_->To() - 1) + kWallDay;
    const bool isRead =
        history_ != nullptr && history_->address == Address() && history_->from <= from && history_->to >= to;
    if (isRead && wanted == Wanted::Missing) return;
    const bool goOn = isRead && wanted == Wanted::Newer;
    auto history = goOn ? std::make_shared<DeviceHistory>(*history_) : std::make_shared<DeviceHistory>();
    if (!goOn) {
        history->address = Address();
        history->from = from;
        history->to = to;
    }
    lastRead_ = program_.clock.Monotonic();
    AwaitHistory(std::move(history));
    ShowState();
}

QCoro::Task<> ChartsPage::AwaitHistory(std::shared_ptr<DeviceHistory> history) {
    const std::string path = program_.database.databasePath();
    const QueryResult result = co_await worker_.Run(path, ReadHistory(history));
    if (ending_) co_return;
    error_ = result.errorText;
    const bool current = history->address == Address() && path == program_.database.databasePath();
    if (result.Ok() && current) {
        history_ = std::move(history);
        view_->Show(history_);
        ShowValues();
    }
    ShowState();
    if (result.Ok()) Read(Wanted::Missing);  // what was chosen meanwhile
}

QCoro::Task<Outcome> ChartsPage::SavePicture(Operator& op) {
    const std::optional<QString> path =
        co_await FileExport::AskPath(u"Save the chart as a picture"_s, u"png"_s, op);
    if (!path) co_return Outcome::Success();
    if (!view_->savePng(*path, 0, 0, 2))
        co_return Outcome::Failure(u"The picture could not be written to %1"_s.arg(*path));
    co_return Outcome::Success();
}

}  // namespace corvane
