// The tables of the database, to look through and to save as CSV.
#pragma once

#include <array>

#include "base/setting.h"
#include "window/page.h"
#include "window/parts/file_export.h"
#include "window/past/table_source.h"

class QCheckBox;
class QComboBox;
class QDateEdit;
class QLabel;

namespace corvane {

class Actions;
class SettingsStore;

inline constexpr Setting kDataTable{.key = "DataTable",
                                    .fallback = "monitordata_minute",
                                    .by = SettingBy::Program,
                                    .help = "The table that the Data tab shows."};
inline constexpr std::array kDataPageSettings = {kDataTable};

class DataPage final : public Page {
    Q_OBJECT

public:
    DataPage(const CaptureDatabase& database, const DatabaseFiles& files, SettingsStore& settings,
             Clock& clock, Actions& actions);

    void Refresh() override { source_.Refresh(); }

private:
    QWidget* FilterBar(Actions& actions);
    QWidget* Table();

    [[nodiscard]] TableFilter Filter() const;
    void Show();
    void ShowTables();
    void ShowDevices();

    SettingsStore& settings_;
    TableSource source_;
    FileExport export_;

    QComboBox* table_ = nullptr;
    QComboBox* device_ = nullptr;
    QCheckBox* limited_ = nullptr;
    QDateEdit* first_ = nullptr;
    QDateEdit* last_ = nullptr;
    QLabel* state_ = nullptr;
};

}  // namespace corvane
