// Framing and decoding through the program's own code, beside the plainest loop that does the same work.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "link/framer.h"
#include "ratios.h"
#include "sim/simulated_monitor.h"

namespace corvane {
namespace {

constexpr int kPackets = 1000;

/// The bytes of a thousand five-channel packets.
std::vector<std::uint8_t> Traffic() {
    SimulatedMonitor monitor({.seed = 1});
    std::vector<std::uint8_t> bytes;
    for (int i = 0; i < kPackets; ++i) {
        const auto packet = monitor.NextPacket();
        bytes.insert(bytes.end(), packet.begin(), packet.end());
    }
    return bytes;
}

class DecodingReceiver final : public PacketReceiver {
public:
    void DisplayData(int stream, std::span<const std::uint8_t> packet) override {
        RealtimePacket decoded = DecodePacket(stream, packet);
        benchmark::DoNotOptimize(decoded);
    }
};

void FramingAndDecoding(benchmark::State& state) {
    const auto bytes = Traffic();
    DecodingReceiver receiver;
    Framer framer(receiver);
    for (auto _ : state) {
        for (const std::uint8_t byte : bytes)
            framer.ProcessByte(kStreamTcpA, byte);
    }
    state.SetItemsProcessed(state.iterations() * kPackets);
    if (framer.BadPackets() != 0) state.SkipWithError("a packet was refused");
}
BENCHMARK(FramingAndDecoding)->Repetitions(5);

/// What the program needs of a packet, taken apart by hand.
struct HandDecoded {
    unsigned volts;
    std::uint64_t watts[4];
    unsigned serial;
    unsigned flags;
    unsigned unit;
    unsigned amps[2];
    unsigned seconds;
    std::uint32_t aux[5];
    unsigned auxiliary;
};

std::uint64_t LowFirst(const std::uint8_t* p, int width) {
    std::uint64_t value = 0;
    for (int i = width; i-- > 0;)
        value = value << 8 | p[i];
    return value;
}

HandDecoded HandDecode(const std::uint8_t* p) {
    HandDecoded d{};
    d.volts = p[3] * 256U + p[4];
    for (int i = 0; i < 4; ++i)
        d.watts[i] = LowFirst(p + 5 + 5 * i, 5);
    d.serial = static_cast<unsigned>(LowFirst(p + 29, 2));
    d.flags = p[31];
    d.unit = p[32];
    d.amps[0] = static_cast<unsigned>(LowFirst(p + 33, 2));
    d.amps[1] = static_cast<unsigned>(LowFirst(p + 35, 2));
    d.seconds = static_cast<unsigned>(LowFirst(p + 37, 3));
    for (int i = 0; i < 5; ++i)
        d.aux[i] = static_cast<std::uint32_t>(LowFirst(p + 40 + 4 * i, 4));
    d.auxiliary = static_cast<unsigned>(LowFirst(p + 60, 2));
    return d;
}

/// One stream, five-channel packets only, nothing counted: as little as the job allows, a byte at a time.
void HandWrittenLoop(benchmark::State& state) {
    const auto bytes = Traffic();
    std::uint8_t packet[65] = {0xFE, 0xFF, 0x03};
    std::size_t count = 0;
    std::uint8_t sum = 0;
    std::uint32_t window = 0;
    for (auto _ : state) {
        for (const std::uint8_t byte : bytes) {
            if (count == 0) {
                window = (window << 8 | byte) & 0xFFFFFF;
                if (window == 0xFEFF03) {
                    count = 3;
                    sum = 0;
                }
                continue;
            }
            packet[count++] = byte;
            if (count < sizeof packet) {
                sum = static_cast<std::uint8_t>(sum + byte);
                continue;
            }
            count = 0;
            if (sum != byte && byte == 0) continue;
            HandDecoded decoded = HandDecode(packet);
            benchmark::DoNotOptimize(decoded);
        }
    }
    state.SetItemsProcessed(state.iterations() * kPackets);
}
BENCHMARK(HandWrittenLoop)->Repetitions(5);

const Ratio kRatio("FramingAndDecoding", "HandWrittenLoop", 1.3);
const Rate kRate("FramingAndDecoding", 1'000'000);

}  // namespace
}  // namespace corvane
