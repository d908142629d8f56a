#include "window/past/data_page.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QShortcut>
#include <QSignalBlocker>
#include <QTableView>
#include <QVBoxLayout>

#include <algorithm>
#include <iterator>

#include "history/csv_export.h"
#include "store/settings_store.h"
#include "window/actions.h"
#include "window/parts/widgets.h"
#include "window/past/history_choices.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// What the tables are called, in the order in which they are offered. Others have their own names.
struct TableName {
    const char* table;
    const char* name;
};
constexpr std::array<TableName, 7> kTableNames = {{
    {"monitordata_minute", "Minute records"},
    {"monitordata_hourly", "Hourly records"},
    {"minute_power", "Power per minute"},
    {"minute_energy", "Energy per minute"},
    {"minutedata", "Minute table"},
    {"applicationinfo", "Devices and labels"},
    {"applications", "Tariff"},
}};

constexpr const char* kTableStyle = R"(
QTableView { border: 1px solid palette(midlight); border-radius: 8px; }
QHeaderView { background: palette(base); }
QHeaderView::section {
    background: palette(base); border: none; border-bottom: 1px solid palette(midlight); padding: 4px 6px;
}
QTableCornerButton::section { background: palette(base); border: none; }
)";

std::string DayText(QDate day) {
    return day.toString(Qt::ISODate).toStdString();
}

}  // namespace

DataPage::DataPage(const CaptureDatabase& database, const DatabaseFiles& files, SettingsStore& settings,
                   Clock& clock, Actions& actions)
    : settings_(settings), source_(database, files), export_(database, files, clock) {
    auto* page = new QVBoxLayout(this);
    page->setContentsMargins(12, 12, 12, 12);
    page->setSpacing(10);
    page->addWidget(FilterBar(actions));
    page->addWidget(Table(), 1);
    state_ = TextLabel();
    state_->setAccessibleName(u"Rows"_s);
    page->addWidget(state_);
    connect(&source_, &TableSource::StateChanged, this, [this] { state_->setText(source_.StateText()); });
    connect(&source_, &TableSource::ChoicesRead, this, [this] {
        ShowTables();
        ShowDevices();
        Show();
    });
}

QWidget* DataPage::FilterBar(Actions& actions) {
    auto* bar = new QWidget;
    auto* row = new QHBoxLayout(bar);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(12);
    table_ = new QComboBox;
    table_->setAccessibleName(u"Table"_s);
    device_ = new QComboBox;
    device_->setAccessibleName(u"Device"_s);
    limited_ = new QCheckBox(u"Only from"_s);
    first_ = DayEntry(u"First day"_s);
    last_ = DayEntry(u"Last day"_s);
    first_->setDate(QDate::currentDate());
    last_->setDate(QDate::currentDate());
    for (QComboBox* choice : {table_, device_}) {
        choice->setMinimumWidth(170);
        connect(choice, &QComboBox::currentIndexChanged, this, &DataPage::Show);
        row->addWidget(choice);
    }
    connect(table_, &QComboBox::activated, this,
            [this] { settings_.Save(kDataTable, table_->currentData().toString()); });
    row->addWidget(limited_);
    row->addWidget(first_);
    row->addWidget(new QLabel(u"to"_s));
    row->addWidget(last_);
    connect(limited_, &QCheckBox::toggled, this, &DataPage::Show);
    for (QDateEdit* day : {first_, last_})
        connect(day, &QDateEdit::dateChanged, this, [this] {
            if (limited_->isChecked()) Show();
        });
    row->addStretch();
    auto* again = new QPushButton(u"Read again"_s);
    again->setToolTip(u"F5"_s);
    connect(again, &QPushButton::clicked, &source_, &TableSource::ReadAgain);
    connect(new QShortcut(Qt::Key_F5, this), &QShortcut::activated, again, &QPushButton::click);
    row->addWidget(again);
    row->addWidget(ActionButton(u"Save CSV..."_s, actions, [this](Operator& op) {
        return export_.Run(
            u"Save the rows"_s,
            [rows = source_.Model().Rows()](std::string path) -> SqlJob {
                if (rows == nullptr)
                    return [](SqlSession&) { return QueryResult::Failure("the rows are not read yet"); };
                return ExportQuery(std::move(path), AllRows(*rows), std::ssize(rows->ids));
            },
            op);
    }));
    return bar;
}

QWidget* DataPage::Table() {
    auto* view = new QTableView;
    TableModel& model = source_.Model();
    view->setAccessibleName(u"Rows of the table"_s);
    view->setModel(&model);
    view->setStyleSheet(QString::fromLatin1(kTableStyle));
    view->setAlternatingRowColors(true);
    view->setCornerButtonEnabled(false);
    view->setShowGrid(false);
    view->setWordWrap(false);
    view->setSelectionBehavior(QAbstractItemView::SelectRows);
    view->setVerticalScrollMode(QAbstractItemView::ScrollPerItem);
    view->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    const int height = view->fontMetrics().height() + 8;
    // A fixed height, so that a million rows cost the view nothing.
    view->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    view->verticalHeader()->setDefaultSectionSize(height);
    view->verticalHeader()->setDefaultAlignment(Qt::AlignRight | Qt::AlignVCenter);
    view->horizontalHeader()->setHighlightSections(false);
    connect(&model, &TableModel::modelReset, view, [&model, view] {
        const QFontMetrics metrics(view->font());
        for (int column = 0; column < model.columnCount(); ++column) {
            const QString name = model.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
            const QString widest = name == u"date"_s ? u"0000-00-00 00:00:00"_s : u"00000.000"_s;
            view->setColumnWidth(
                column, std::max(metrics.horizontalAdvance(name), metrics.horizontalAdvance(widest)) + 24);
        }
    });
    return view;
}

TableFilter DataPage::Filter() const {
    TableFilter filter;
    filter.table = table_->currentData().toString().toStdString();
    filter.address = device_->currentData().toString().toStdString();
    if (limited_->isChecked()) {
        filter.firstDay = DayText(first_->date());
        filter.endDay = DayText(last_->date().addDays(1));
    }
    return filter;
}

void DataPage::Show() {
    source_.Show(Filter());
}

void DataPage::ShowTables() {
    const QSignalBlocker blocked(table_);
    const QString chosen = settings_.Value(kDataTable);
    table_->clear();
    std::vector<std::string> others = source_.Tables();
    for (const TableName& known : kTableNames)
        if (std::erase(others, known.table) > 0)
            table_->addItem(QString::fromLatin1(known.name), QString::fromLatin1(known.table));
    for (const std::string& other : others)
        table_->addItem(QString::fromStdString(other), QString::fromStdString(other));
    table_->setCurrentIndex(std::max(table_->findData(chosen), 0));
}

void DataPage::ShowDevices() {
    const QSignalBlocker blocked(device_);
    const QString chosen = device_->currentData().toString();
    device_->clear();
    device_->addItem(u"All devices"_s, QString());
    for (const HistoryDevice& device : source_.Devices())
        device_->addItem(DeviceName(device), QString::fromStdString(device.address));
    device_->setCurrentIndex(std::max(device_->findData(chosen), 0));
}

}  // namespace corvane
