// Where the live data go: other programs over TCP, a web server by GET requests, a feed.
#pragma once

#include <vector>

#include "window/page.h"

class QFormLayout;
class QLabel;
class QPlainTextEdit;
class QPushButton;
class QTableWidget;
class QVBoxLayout;

namespace corvane {

class Actions;
class ForwardingServer;
class Program;
class StatusBoard;

class ForwardingPage final : public Page {
    Q_OBJECT

public:
    ForwardingPage(Program& program, Actions& actions);

    void Refresh() override;

private:
    struct ServerRow {
        ForwardingServer* server;
        QPushButton* listen;
        QLabel* state;
    };

    void AddServer(QVBoxLayout* page, ForwardingServer& server, const QString& enableKey,
                   const QString& binaryKey, const QString& portKey, const QString& defaultPort);
    void AddClient(QVBoxLayout* page);
    void AddGet(QVBoxLayout* page);
    void AddFeed(QVBoxLayout* page);
    void AddAssignments(QFormLayout* form);
    void ShowAssignments();
    QPlainTextEdit* AddLog(QFormLayout* form, const QString& name, const StatusBoard& log);

    Program& program_;
    Actions& actions_;
    std::vector<ServerRow> servers_;
    QPushButton* connect_;
    QLabel* clientState_;
    QLabel* getState_;
    QLabel* keyState_;
    QTableWidget* assignments_;
};

}  // namespace corvane
