// Charts of what the database holds: power over time, energy and its cost per hour to year.
#pragma once

#include "window/page.h"
#include "window/parts/file_export.h"
#include "window/past/chart_source.h"

class QButtonGroup;
class QComboBox;
class QLabel;

namespace corvane {

class Actions;
class ChannelPanel;
class ChartView;
class PeriodBar;
class SettingsStore;

class ChartsPage final : public Page {
    Q_OBJECT

public:
    ChartsPage(const CaptureDatabase& database, const DatabaseFiles& files, SettingsStore& settings,
               Clock& clock, Actions& actions);

    void Refresh() override { source_.Refresh(); }

protected:
    void showEvent(QShowEvent* event) override;

private:
    QWidget* ChoiceBar(Actions& actions);
    QWidget* Chart();
    void Connect();

    void ShowDevices();
    void Choose();
    void Look();
    void ShowValues();
    [[nodiscard]] std::string Address() const;
    QCoro::Task<Outcome> SavePicture(Operator& op);
    QCoro::Task<Outcome> SaveCsv(Operator& op);

    SettingsStore& settings_;
    ChartSource source_;
    FileExport export_;

    ChartView* view_;
    PeriodBar* period_;
    ChannelPanel* channels_;
    QComboBox* device_;
    QButtonGroup* measure_;
    QComboBox* bars_;
    QLabel* note_;
};

}  // namespace corvane
