// Which channel each datastream of the feed carries, as a table, and how to assign another.
#pragma once

#include <QWidget>

class QTableWidget;

namespace corvane {

class Actions;
class FeedUpload;

class FeedChannelsBox final : public QWidget {
    Q_OBJECT

public:
    FeedChannelsBox(FeedUpload& feed, Actions& actions);

private:
    void ShowAssignments();

    FeedUpload& feed_;
    QTableWidget* assignments_;
};

}  // namespace corvane
