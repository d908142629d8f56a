// The line between a simulated monitor and the program that captures.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <utility>

namespace corvane {

enum class LineState {
    Blocked,  ///< nothing can be sent now: no connection, or a peer that does not keep up
    Unheard,  ///< what is sent is lost: nobody has the other end open
    Ready,
};

class Line {
public:
    virtual ~Line() = default;

    /// What would become of a packet that is sent now.
    [[nodiscard]] virtual LineState State() = 0;

    /// To be called in the state Ready only.
    virtual void Send(std::span<const std::uint8_t> bytes) = 0;

    /// Bytes that would be lost if the line went now; 0 where nobody would get them anyway.
    [[nodiscard]] virtual std::int64_t Unsent() = 0;

    using Receiver = std::function<void(std::span<const std::uint8_t>)>;

    /// Who gets what comes from the other end; without one it is dropped.
    void SetReceiver(Receiver receiver) { receiver_ = std::move(receiver); }

protected:
    void Received(std::span<const std::uint8_t> bytes) {
        if (receiver_ && !bytes.empty()) receiver_(bytes);
    }

private:
    Receiver receiver_;
};

}  // namespace corvane
