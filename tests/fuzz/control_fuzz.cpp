// Any line on the control socket: refused with a text, or a request that means the same when written again.
#include <cstddef>
#include <cstdint>

#include "app/control_protocol.h"
#include "fuzz/require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace corvane;
    const QByteArray line(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto parsed = ParseControlRequest(line);
    if (const auto* error = std::get_if<QString>(&parsed)) {
        REQUIRE(!error->isEmpty());
        return 0;
    }
    const auto& request = std::get<ControlRequest>(parsed);
    const QByteArray written = ControlLine(ControlRequestObject(request));
    REQUIRE(written.count('\n') == 1);
    const auto again = ParseControlRequest(written);
    REQUIRE(std::holds_alternative<ControlRequest>(again));
    const auto& same = std::get<ControlRequest>(again);
    REQUIRE(same.command == request.command && same.arguments == request.arguments &&
            same.answer == request.answer);
    return 0;
}
