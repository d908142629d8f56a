#include "window/setup/forwarding_page.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include "app/program.h"
#include "app/setting_rules.h"
#include "window/actions.h"
#include "window/parts/setting_widgets.h"
#include "window/parts/widgets.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// All channels that a datastream can carry, "None" first.
QStringList ChannelChoices() {
    QStringList texts{u"None"_s};
    for (int slot = 1; slot <= kSlots; ++slot) {
        for (std::size_t channel = 0; channel < kChannels; ++channel)
            texts.append(ChannelChoice{.slot = slot, .channel = channel}.Text());
    }
    return texts;
}

}  // namespace

ForwardingPage::ForwardingPage(Program& program, Actions& actions) : program_(program), actions_(actions) {
    QVBoxLayout* page = ScrolledLayout(this);
    AddServer(page, program_.forwarding.listeningServer, u"ServerEnable"_s, u"BinaryData"_s, u"TcpPortHA"_s,
              u"5000"_s);
    AddServer(page, program_.forwarding.serverB, u"HAServerEnable"_s, u"HAbinaryData"_s, u"HAserverPort"_s,
              u"5001"_s);
    AddClient(page);
    AddGet(page);
    AddFeed(page);
    page->addStretch();
}

void ForwardingPage::AddServer(QVBoxLayout* page, ForwardingServer& server, const QString& enableKey,
                               const QString& binaryKey, const QString& portKey, const QString& defaultPort) {
    QFormLayout* form = AddSection(page, server.Name());
    AddSettingSwitch(form, u"Forward through this server"_s, program_, actions_, enableKey);
    AddSettingSwitch(form, u"Packets as they come, rather than lines of text"_s, program_, actions_,
                     binaryKey);
    AddSettingEntry(form, u"Port"_s, program_, actions_, portKey, defaultPort)
        ->setAccessibleName(server.Name() + u" port"_s);
    ServerRow row{&server, new QPushButton, TextLabel()};
    row.listen->setAccessibleName(server.Name() + u" listen"_s);
    connect(row.listen, &QPushButton::clicked, this, [this, &server] {
        if (server.Caption() == "Listen"_L1) {
            server.Listen();
        } else {
            server.Stop();
        }
        Refresh();
    });
    form->addRow(Row({row.listen, row.state}));
    servers_.push_back(row);
}

void ForwardingPage::AddClient(QVBoxLayout* page) {
    QFormLayout* form = AddSection(page, u"Client"_s);
    AddSettingSwitch(form, u"Forward through the client connection"_s, program_, actions_, u"ClientEnable"_s);
    AddSettingEntry(form, u"Remote address"_s, program_, actions_, u"ClientTCPip"_s);
    AddSettingEntry(form, u"Remote port"_s, program_, actions_, u"ClientPort"_s);
    connect_ = new QPushButton;
    connect_->setAccessibleName(u"Client connect"_s);
    connect(connect_, &QPushButton::clicked, this, [this] {
        actions_.Done(program_.forwarding.client.Connect());
        Refresh();
    });
    clientState_ = TextLabel();
    form->addRow(Row({connect_, clientState_}));
}

QPlainTextEdit* ForwardingPage::AddLog(QFormLayout* form, const QString& name, const StatusBoard& log) {
    auto* box = new QPlainTextEdit;
    box->setReadOnly(true);
    box->setMaximumBlockCount(static_cast<int>(StatusBoard::kKept));
    box->setAccessibleName(name);
    box->setMinimumHeight(110);
    for (const QString& line : log.Lines())
        box->appendPlainText(line);
    connect(&log, &StatusBoard::LineAdded, box, &QPlainTextEdit::appendPlainText);
    form->addRow(name, box);
    return box;
}

void ForwardingPage::AddGet(QVBoxLayout* page) {
    QFormLayout* form = AddSection(page, u"GET requests"_s);
    AddSettingSwitch(form, u"Send a request for every packet"_s, program_, actions_, u"GetEnable"_s);
    AddSettingEntry(form, u"Web server"_s, program_, actions_, u"GetURL"_s)
        ->setPlaceholderText(u"HOST or HOST:PORT"_s);
    AddSettingEntry(form, u"Path"_s, program_, actions_, u"GetURLext"_s);
    AddSettingEntry(form, u"Layout"_s, program_, actions_, u"GetLayout"_s, u"1"_s);
    getState_ = TextLabel();
    form->addRow(u"Connection"_s,
                 Row({ActionButton(u"Check the internet"_s, actions_,
                                   [this](Operator& op) -> QCoro::Task<Outcome> {
                                       const bool there =
                                           co_await program_.connectionCheck.InternetConnectionAvailable(op);
                                       if (!there) {
                                           co_return Outcome::Failure(u"The internet cannot be reached."_s);
                                       }
                                       op.Show(u"The internet can be reached."_s);
                                       co_return Outcome::Success();
                                   }),
                      getState_}));
    AddLog(form, u"Requests"_s, program_.getUpload.Log());
}

void ForwardingPage::AddFeed(QVBoxLayout* page) {
    QFormLayout* form = AddSection(page, u"Feed"_s);
    AddSettingSwitch(form, u"Send to the feed"_s, program_, actions_, u"PacEnable"_s);
    auto* key = new QLineEdit;
    key->setEchoMode(QLineEdit::Password);
    key->setAccessibleName(u"API key"_s);
    keyState_ = TextLabel();
    connect(key, &QLineEdit::editingFinished, this, [this, key] {
        if (!key->isModified()) return;
        actions_.Done(program_.feedUpload.SetKey(key->text()));
        key->clear();  // it is kept, and never shown
        Refresh();
    });
    form->addRow(u"API key"_s, Row({key, keyState_}));
    AddSettingEntry(form, u"Feed number"_s, program_, actions_, u"PachubeFeed"_s);
    AddSettingEntry(form, u"Title"_s, program_, actions_, u"PacTitle"_s);
    AddSettingEntry(form, u"Seconds between uploads"_s, program_, actions_, u"PacInterval"_s, u"60"_s);
    AddAssignments(form);
    form->addRow(Row(
        {ActionButton(u"Send now"_s, actions_, [this](Operator&) { return program_.feedUpload.SendNow(); }),
         ActionButton(u"Set up datastreams"_s, actions_,
                      [this](Operator&) { return program_.feedUpload.SetUpNow(); })}));
    AddLog(form, u"Results"_s, program_.feedUpload.Log());
}

void ForwardingPage::AddAssignments(QFormLayout* form) {
    auto* channel = new QComboBox;
    channel->addItems(ChannelChoices());
    channel->setAccessibleName(u"Channel of the datastream"_s);
    assignments_ = new QTableWidget(kDatastreams, 1);
    assignments_->setCornerButtonEnabled(false);
    assignments_->setAccessibleName(u"Datastreams"_s);
    assignments_->setHorizontalHeaderLabels({u"Channel"_s});
    QStringList ids;
    for (std::size_t id = 0; id < kDatastreams; ++id)
        ids.append(QString::number(id));
    assignments_->setVerticalHeaderLabels(ids);
    assignments_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    assignments_->setSelectionMode(QAbstractItemView::SingleSelection);
    assignments_->horizontalHeader()->setStretchLastSection(true);
    assignments_->setMinimumHeight(180);
    assignments_->setCurrentCell(0, 0);
    form->addRow(u"Datastreams"_s, assignments_);
    form->addRow(Row(
        {channel, ActionButton(u"Assign to the datastream chosen"_s, actions_, [this, channel](Operator& op) {
             const QString id = QString::number(assignments_->currentRow());
             const QString text = channel->currentText();
             const bool none = channel->currentIndex() == 0;
             return program_.feedUpload.Assign(id, none ? std::nullopt : std::optional(text), op);
         })}));
    connect(&actions_, &Actions::BusyChanged, this, &ForwardingPage::ShowAssignments);
    ShowAssignments();
}

void ForwardingPage::ShowAssignments() {
    const FeedChannels channels = program_.feedUpload.Channels();
    for (std::size_t id = 0; id < kDatastreams; ++id) {
        const QString text = channels[id].has_value() ? channels[id]->Text() : QString();
        assignments_->setItem(static_cast<int>(id), 0, new QTableWidgetItem(text));
    }
}

void ForwardingPage::Refresh() {
    for (const ServerRow& row : servers_) {
        row.listen->setText(row.server->Caption());
        row.state->setText(u"%1. %2"_s.arg(SocketStateText(row.server->State()), row.server->Notice()));
    }
    const ForwardingClient& client = program_.forwarding.client;
    connect_->setText(client.Caption());
    clientState_->setText(u"%1. %2"_s.arg(SocketStateText(client.State()), client.Notice()));
    getState_->setText(SocketStateText(program_.getUpload.State()));
    keyState_->setText(program_.feedUpload.HasKey() ? u"A key is kept."_s : u"No key is kept."_s);
}

}  // namespace corvane
