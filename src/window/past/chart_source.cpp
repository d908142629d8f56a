#include "window/past/chart_source.h"

#include <utility>

#include "base/clock.h"
#include "store/sql_worker.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr std::int64_t kReadAgainAfter = 60'000;  // ms: records come once a minute

}  // namespace

void ChartSource::Look(const std::string& address, WallTime from, WallTime to) {
    from_ = from;
    to_ = to;
    if (std::exchange(address_, address) != address) Forget();
    Read(Wanted::Missing);
}

void ChartSource::Forget() {
    if (std::exchange(history_, nullptr) != nullptr) Q_EMIT HistoryChanged();
}

void ChartSource::Refresh() {
    if (Busy()) return;
    if (DevicesWanted() || Devices().empty())
        AwaitDevices();
    else
        Read(clock_.Monotonic() - lastRead_ >= kReadAgainAfter ? Wanted::Newer : Wanted::Missing);
}

QCoro::Task<> ChartSource::AwaitDevices() {
    const std::optional<QueryResult> rows = co_await Run(ReadDevices());
    if (!rows) co_return;
    SetError(rows->errorText);
    TakeDevices(*rows);
    if (rows->Ok()) Read(Wanted::All);
}

void ChartSource::Read(Wanted wanted) {
    if (Busy() || address_.empty()) return;
    // Whole years, so that moving about in them reads nothing.
    const WallTime from = StartOf(CalendarUnit::Year, from_) - kWallDay;
    const WallTime to = NextStart(CalendarUnit::Year, to_ - 1) + kWallDay;
    const bool isRead = history_ != nullptr && history_->from <= from && history_->to >= to;
    if (isRead && wanted == Wanted::Missing) return;
    const bool goOn = isRead && wanted == Wanted::Newer;
    auto history = goOn ? std::make_shared<DeviceHistory>(*history_) : std::make_shared<DeviceHistory>();
    if (!goOn) {
        history->address = address_;
        history->from = from;
        history->to = to;
    }
    lastRead_ = clock_.Monotonic();
    AwaitHistory(std::move(history));
    Q_EMIT StateChanged();
}

QCoro::Task<> ChartSource::AwaitHistory(std::shared_ptr<DeviceHistory> history) {
    const std::optional<QueryResult> result = co_await Run(ReadHistory(history));
    if (!result) co_return;
    if (result->Ok() && history->address == address_) {
        history_ = std::move(history);
        Q_EMIT HistoryChanged();
    }
    SetError(result->errorText);
    if (result->Ok()) Read(Wanted::Missing);  // what was chosen meanwhile
}

QString ChartSource::StateText() const {
    if (Held()) return kHeldText;
    return Busy() && history_ == nullptr ? u"Reading..."_s : ErrorText();
}

}  // namespace corvane
