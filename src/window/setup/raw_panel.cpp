#include "window/setup/raw_panel.h"

#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QScrollBar>
#include <QTableWidget>
#include <QTextEdit>

#include <algorithm>
#include <utility>
#include <vector>

#include "link/raw_view.h"
#include "window/parts/widgets.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

enum FieldColumn { kFieldName, kFieldBytes, kFieldValue, kFieldColumns };

QString Text(std::string_view text) {
    return QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size()));
}

QTableWidget* FieldTable() {
    auto* table = new QTableWidget(0, kFieldColumns);
    table->setAccessibleName(u"Fields of the last packet"_s);
    table->setHorizontalHeaderLabels({u"Last packet"_s, u"Bytes"_s, u"Value"_s});
    table->verticalHeader()->hide();
    table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 4);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setShowGrid(false);
    table->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    table->horizontalHeader()->setStretchLastSection(true);
    table->horizontalHeader()->setHighlightSections(false);
    table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    return table;
}

/// Writes bytes one after the other; the blank behind them takes no color, which keeps neighbours apart.
void Write(QTextCursor& cursor, std::string_view bytes, const QTextCharFormat& format) {
    if (bytes.empty()) return;
    cursor.insertText(Text(HexText(bytes)), format);
    cursor.insertText(u" "_s, QTextCharFormat());
}

}  // namespace

RawPanel::RawPanel(const Framer& framer, const MonitorLinks& links, std::function<void(bool on)> keepBytes)
    : QGroupBox(u"Received bytes"_s), framer_(framer), keepBytes_(std::move(keepBytes)) {
    bytes_ = new QTextEdit;
    bytes_->setAccessibleName(u"Received bytes"_s);
    bytes_->setReadOnly(true);
    bytes_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    bytes_->setMinimumHeight(10 * bytes_->fontMetrics().lineSpacing());
    fields_ = FieldTable();
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(2, 2, 2, 2);
    column->addWidget(Choices(links));
    auto* row = new QHBoxLayout;
    row->addWidget(bytes_, 3);
    row->addWidget(fields_, 2);
    column->addLayout(row, 1);
}

QWidget* RawPanel::Choices(const MonitorLinks& links) {
    on_ = new QCheckBox(u"Show received bytes"_s);
    connect(on_, &QCheckBox::clicked, this, [this](bool on) {
        keepBytes_(on);
        Refresh();
    });
    stream_ = new QComboBox;
    stream_->setAccessibleName(u"Stream"_s);
    for (const MonitorLink* link : Listed(links))
        stream_->addItem(link->Name(), link->Stream());
    connect(stream_, &QComboBox::currentIndexChanged, this, &RawPanel::TakeLatest);
    hold_ = new QCheckBox(u"Hold still"_s);
    counters_ = TextLabel();
    counters_->setWordWrap(false);
    counters_->setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Preferred);
    auto* choices = new QWidget;
    auto* row = new QHBoxLayout(choices);
    row->setContentsMargins(0, 0, 0, 0);
    for (QWidget* widget :
         {static_cast<QWidget*>(on_), static_cast<QWidget*>(stream_), static_cast<QWidget*>(hold_)})
        row->addWidget(widget);
    row->addStretch();
    row->addWidget(counters_);
    return choices;
}

void RawPanel::Refresh() {
    counters_->setText(PacketCounts(framer_));
    on_->setChecked(framer_.RawDisplay(stream_->currentData().toInt()));
    if (!hold_->isChecked()) TakeLatest();
}

void RawPanel::TakeLatest() {
    const std::string& text = framer_.RawText(stream_->currentData().toInt());
    std::string latest = text.substr(text.size() - std::min(text.size(), kShown));
    if (latest == shown_) return;
    shown_ = std::move(latest);
    ShowBytes();
}

/// Hues far from one another for neighbours, pale enough for the palette's own text.
QColor RawPanel::ColorOf(std::size_t field) const {
    const bool dark = palette().color(QPalette::Base).lightness() < 128;
    const int hue = static_cast<int>(field * 137 % 360);
    return QColor::fromHsl(hue, dark ? 110 : 170, dark ? 75 : 218);
}

void RawPanel::ShowBytes() {
    const std::vector<RawRun> runs = RawRuns(shown_);
    bytes_->clear();
    QTextCursor cursor(bytes_->document());
    cursor.beginEditBlock();
    QTextBlockFormat paragraph;
    paragraph.setBottomMargin(bytes_->fontMetrics().height() / 2.0);
    cursor.setBlockFormat(paragraph);
    for (const RawRun& run : runs) {
        if (!cursor.atStart()) cursor.insertBlock(paragraph);
        WriteRun(cursor, run);
    }
    cursor.endEditBlock();
    bytes_->verticalScrollBar()->setValue(bytes_->verticalScrollBar()->maximum());
    const auto last =
        std::find_if(runs.rbegin(), runs.rend(), [](const RawRun& run) { return run.model != nullptr; });
    ShowFields(last == runs.rend() ? nullptr : &*last);
}

void RawPanel::WriteRun(QTextCursor& cursor, const RawRun& run) const {
    QTextCharFormat pale;
    QColor ink = palette().color(QPalette::Text);
    ink.setAlphaF(0.55F);
    pale.setForeground(ink);
    std::size_t written = 0;
    if (run.model != nullptr) {
        const std::vector<RawField> fields = RawFields(run);
        for (std::size_t i = 0; i < fields.size(); ++i) {
            const RawField& field = fields[i];
            QTextCharFormat inColor;
            inColor.setBackground(ColorOf(i));
            Write(cursor, run.bytes.substr(written, field.offset - written), pale);
            Write(cursor, run.bytes.substr(field.offset, field.width), inColor);
            written = field.offset + field.width;
        }
        if (!run.accepted) cursor.insertText(u"refused by its checksum"_s, pale);
    }
    Write(cursor, run.bytes.substr(written), pale);
}

void RawPanel::ShowFields(const RawRun* packet) {
    if (packet == nullptr) return fields_->setRowCount(0);
    const std::vector<RawField> fields = RawFields(*packet);
    fields_->setRowCount(static_cast<int>(fields.size()));
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const RawField& field = fields[i];
        const QString verdict = packet->accepted ? u"accepted"_s : u"refused"_s;
        const QString texts[kFieldColumns] = {Text(field.name),
                                              Text(HexText(packet->bytes.substr(field.offset, field.width))),
                                              field.value.empty() ? verdict : Text(field.value)};
        for (int column = 0; column < kFieldColumns; ++column) {
            auto* item = new QTableWidgetItem(texts[column]);
            if (column == kFieldBytes) {
                item->setFont(bytes_->font());
                item->setBackground(ColorOf(i));
            }
            fields_->setItem(static_cast<int>(i), column, item);
        }
    }
}

void RawPanel::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange) ShowBytes();
    QGroupBox::changeEvent(event);
}

}  // namespace corvane
