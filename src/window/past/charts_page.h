// Charts of what the database holds: power over time, energy and its cost per hour to year.
#pragma once

#include <array>
#include <memory>
#include <vector>

#include "history/csv_export.h"
#include "history/history_reader.h"
#include "store/sql_worker.h"
#include "window/page.h"
#include "window/parts/file_export.h"

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QDateEdit;
class QHBoxLayout;
class QLabel;

namespace corvane {

class Actions;
class ChartView;
class Program;

class ChartsPage final : public Page {
    Q_OBJECT

public:
    ChartsPage(Program& program, Actions& actions);
    ~ChartsPage() override;

    void Refresh() override;

private:
    QWidget* ChoiceBar();
    QWidget* PeriodBar();
    QWidget* ChannelPanel();
    [[nodiscard]] QButtonGroup* AddButtons(QHBoxLayout* bar, const QStringList& names);

    void Choose();
    void ShowPeriod(CalendarUnit unit, QDate day);
    void MovePeriod(int periods);
    void ShowDates();
    void ShowValues();
    void ShowState();
    void TakePalette();

    /// What is wanted of the time that the view shows.
    enum class Wanted {
        Missing,  ///< what is not read yet
        Newer,    ///< and the records that came since
        All,      ///< everything anew: it may have been deleted or mended meanwhile
    };
    void Read(Wanted wanted);
    QCoro::Task<> AwaitHistory(std::shared_ptr<DeviceHistory> history);
    QCoro::Task<> ReadDeviceList();
    void TakeDevices(std::vector<HistoryDevice> devices);
    [[nodiscard]] std::string Address() const;
    [[nodiscard]] ShownChannels Shown() const;
    QCoro::Task<Outcome> SavePicture(Operator& op);

    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;

    Program& program_;
    Actions& actions_;
    SqlWorker worker_;
    FileExport export_;
    std::vector<HistoryDevice> devices_;
    std::shared_ptr<const DeviceHistory> history_;
    std::string error_;
    std::int64_t lastRead_ = 0;  ///< as the monotonic clock has it
    bool devicesWanted_ = true;  ///< they may have been bound or named anew
    bool ending_ = false;

    ChartView* view_;
    QComboBox* device_ = nullptr;
    QButtonGroup* measure_ = nullptr;
    QComboBox* unit_ = nullptr;
    QButtonGroup* period_ = nullptr;
    QDateEdit* first_ = nullptr;
    QDateEdit* last_ = nullptr;
    QLabel* valuesName_ = nullptr;
    QLabel* note_ = nullptr;
    std::array<QCheckBox*, kChannels> channels_{};
    std::array<QLabel*, kChannels> values_{};
};

}  // namespace corvane
