// Any line on the control socket: refused with a text, or a request that means the same when written again.
#include <cstddef>
#include <cstdint>

#include "fuzz/require.h"
#include "remote/remote_protocol.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace corvane;
    const QByteArray line(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto parsed = ParseRemoteRequest(line);
    if (const auto* error = std::get_if<QString>(&parsed)) {
        REQUIRE(!error->isEmpty());
        return 0;
    }
    const auto& request = std::get<RemoteRequest>(parsed);
    const QByteArray written = RemoteLine(RemoteRequestObject(request));
    REQUIRE(written.count('\n') == 1);
    const auto again = ParseRemoteRequest(written);
    REQUIRE(std::holds_alternative<RemoteRequest>(again));
    const auto& same = std::get<RemoteRequest>(again);
    REQUIRE(same.command == request.command && same.arguments == request.arguments &&
            same.answer == request.answer);
    return 0;
}
