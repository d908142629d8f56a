#include "measure/second_model.h"

#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <utility>

#include "measure/measurement_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr std::uint64_t kMillion = 1'000'000;
/// Of the carries, in the order of the counters.
const std::array<QString, kCounters> kCarryKeys = {u"Roll1A"_s, u"Roll2A"_s, u"Roll1P"_s,
                                                   u"Roll2P"_s, u"Roll3"_s,  u"Roll4"_s,
                                                   u"Roll5"_s,  u"Roll6"_s,  u"Roll7"_s};

constexpr std::uint64_t kSpan24 = std::uint64_t{1} << 24;
constexpr std::uint64_t kSpan32 = std::uint64_t{1} << 32;
constexpr std::uint64_t kSpan40 = std::uint64_t{1} << 40;

SlotValues Seen(const DeviceReadings& readings) {
    SlotValues v = {.volt = readings.volt,
                    .seconds = static_cast<double>(readings.seconds.value_or(kNone)),
                    .elapsed = static_cast<double>(readings.elapsed),
                    .restart = readings.restart,
                    .counterReset = readings.counterReset,
                    .amps = {readings.channels[0].amps, readings.channels[1].amps}};
    for (std::size_t i = 0; i < kCounters; ++i) {
        const bool polarized = i == 2 || i == 3;
        const ChannelReadings& channel = readings.channels[i < 2 ? i : i - 2];
        const EnergyCounter& counter = polarized ? channel.polarized : channel.absolute;
        v.watts[i] = counter.watts.value_or(kNone);
        v.lastWatts[i] = counter.lastWatts.value_or(kNone);
        v.carry[i] = counter.carry;
        v.kwh[i] = counter.Kwh();
    }
    return v;
}

/// Ten monitors that stammer, restart and wrap, on lines that lose, gain and change bytes.
class Monitors {
public:
    explicit Monitors(std::uint64_t seed) : random_(seed) {
        for (std::size_t i = 0; i < monitors_.size(); ++i) {
            monitors_[i].model = i == 2 ? Model::TwoChannel : Model::FiveChannel;
            monitors_[i].now = {.serialNumber = static_cast<std::uint16_t>(i),
                                .unitId = static_cast<std::uint8_t>(i * 50)};
        }
    }

    [[nodiscard]] std::uint64_t Below(std::uint64_t end) { return random_() % end; }

    /// What comes next from the monitor, as it arrives.
    Bytes Next(std::size_t monitor) {
        Bytes bytes = PacketOf(Step(monitors_[monitor]));
        const std::size_t place = Below(bytes.size());
        const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(place);
        switch (Below(400)) {
            case 0:
                bytes.erase(at);
                break;
            case 1:
                *at ^= static_cast<std::uint8_t>(1U << Below(8));
                break;
            case 2:
                bytes.back() = 0;
                break;
            case 3:
                bytes.insert(at, static_cast<std::uint8_t>(0xFE + Below(2)));
                break;
            case 4:
                bytes.resize(place);
                break;
            default:
                break;
        }
        return bytes;
    }

private:
    struct Monitor {
        Model model;
        MonitorState now;
        MonitorState before;
        bool late = false;  ///< what comes next is `before`
    };

    MonitorState Step(Monitor& monitor) {
        const std::uint64_t event = Below(4000);
        if (event < 80) return monitor.now;  // once more
        if (event < 82 || std::exchange(monitor.late, false)) return monitor.before;
        MonitorState& now = monitor.now;
        monitor.before = now;
        const std::array ch = {&now.ch1Absolute, &now.ch2Absolute, &now.ch1Polarized, &now.ch2Polarized};
        const std::uint64_t time = event == 82 ? Below(kSpan24) : event == 83 ? 0 : 1 + Below(20);
        now.model = monitor.model;
        now.voltTenths = static_cast<std::uint16_t>(Below(65536));
        now.ch1Hundredths = static_cast<std::uint16_t>(Below(65536));
        now.ch2Hundredths = static_cast<std::uint16_t>(Below(2000));
        now.seconds = static_cast<std::uint32_t>((now.seconds + time) % kSpan24);
        for (std::uint64_t* counter : ch)
            *counter = (*counter + Below(48'600) * time) % kSpan40;
        for (std::uint32_t& counter : now.aux)
            counter += static_cast<std::uint32_t>(Below(32'600) * time);
        std::uint64_t& anyCh = *ch[Below(4)];
        std::uint32_t& anyAux = now.aux[Below(5)];
        switch (event) {
            case 84:  // it was without power, and
            case 85:
                now.seconds = static_cast<std::uint32_t>(Below(300));
                if (event == 84) break;  // kept its counters, or
                for (std::uint64_t* counter : ch)
                    *counter = Below(2);
                now.aux = {};
                break;
            case 86:
                now.seconds = static_cast<std::uint32_t>(kSpan24 - 1 - Below(600));
                break;
            case 87:  // where a step back turns from a wrap into a restart
                now.seconds = static_cast<std::uint32_t>(kSpan24 - 260 + Below(8));
                monitor.late = true;
                break;
            case 88:
                anyCh = kSpan40 - 1 - Below(300'000);
                anyAux = static_cast<std::uint32_t>(kSpan32 - 1 - Below(200'000));
                break;
            case 89:
                anyCh = Below(kSpan40);
                anyAux = static_cast<std::uint32_t>(Below(kSpan32));
                break;
            case 90:
                anyCh = 0;
                anyAux = 0;
                break;
            case 91:
                now.model = Model::TwoChannel;
                break;
            default:
                break;
        }
        return now;
    }

    std::mt19937_64 random_;
    std::array<Monitor, 10> monitors_;
};

class SecondModelTest : public MeasurementFixture {
protected:
    void StartProgram() {
        StartMeasurement();
        framer_ = std::make_unique<Framer>(*measurement_);
        model_.Restart();
    }

    void SetCarries(std::size_t slot, int carry) {
        model_.SetCarries(slot, carry);
        for (const QString& key : kCarryKeys)
            Set(key, QString::number(carry), QString::number(slot + 1));
    }

    /// What people do now and then.
    void Interfere(Monitors& monitors) {
        const std::size_t any = monitors.Below(5);
        switch (monitors.Below(4000)) {
            case 0:
                StartProgram();
                break;
            case 1:
                model_.lineToLine = !model_.lineToLine;
                Set(u"VoltX2"_s, model_.lineToLine ? u"True"_s : u"False"_s);
                break;
            case 2:
                model_.singleTwoChannel = !model_.singleTwoChannel;
                Set(u"VRQ5806"_s, model_.singleTwoChannel ? u"1"_s : u"0"_s);
                break;
            case 3:  // not those of Device D, which are nearly full
                SetCarries(any % 3, 0);
                break;
            default:
                model_.hold[any] = monitors.Below(100) == 0;
                framer_->SetPacketHold(static_cast<int>(any), model_.hold[any]);
                break;
        }
    }

    /// Gives both the byte.
    void Send(std::size_t stream, std::uint8_t byte) {
        framer_->ProcessByte(static_cast<int>(stream), byte);
        const auto slot = model_.Take(stream, byte);
        ASSERT_EQ(framer_->GoodPackets(), model_.good);
        ASSERT_EQ(framer_->BadPackets(), model_.bad);
        if (!slot.has_value()) return;
        ASSERT_EQ(Seen(Of(static_cast<int>(*slot) + 1)), model_.Values(*slot));
    }

    SecondModel model_;
    std::unique_ptr<Framer> framer_;
};

/// CORVANE_SEED in the environment is another million.
TEST_F(SecondModelTest, AgreesWithTheProgramOnAMillionPackets) {
    model_.bound = {"000000", "5000001", "10000002", "15000003", "999998", "5000001"};
    for (std::size_t slot = 0; slot < model_.bound.size(); ++slot)
        Set(u"DevSerial"_s, QString::fromStdString(model_.bound[slot]), QString::number(slot));
    SetCarries(3, 32'765);
    const QString seed = qEnvironmentVariable("CORVANE_SEED", u"20260302"_s);
    Monitors monitors(seed.toULongLong());
    StartProgram();
    for (std::uint64_t packet = 0; packet < kMillion && !HasFatalFailure(); packet += 5) {
        SCOPED_TRACE(testing::Message() << "CORVANE_SEED=" << seed.toStdString() << ", packet " << packet);
        Interfere(monitors);
        std::array<Bytes, 5> lines;
        for (std::size_t stream = 0; stream < 5; ++stream)
            lines[stream] = monitors.Next(monitors.Below(5) == 0 ? stream + 5 : stream);
        for (std::size_t at = 0; at < 66 && !HasFatalFailure(); ++at)
            for (std::size_t stream = 0; stream < 5; ++stream)
                if (at < lines[stream].size()) Send(stream, lines[stream][at]);
    }
    for (std::size_t slot = 0; slot < model_.bound.size(); ++slot)
        for (std::size_t i = 0; i < kCounters; ++i)
            EXPECT_EQ(KeptByKey(settings_, kCarryKeys[i], u"0"_s, QString::number(slot + 1)),
                      QString::number(model_.Values(slot).carry[i]));
    EXPECT_EQ(model_.met.size(), 15U);
    for (const auto& [turn, times] : model_.met)
        EXPECT_GT(times, 50) << turn;
}

}  // namespace
}  // namespace corvane
