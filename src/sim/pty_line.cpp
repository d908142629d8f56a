#include "sim/pty_line.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

namespace fs = std::filesystem;

// Never the terminal that this program is started from, and never one that makes it wait.
constexpr int kOpenMode = O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC;

/// What poll says of `descriptor` at this moment.
short Poll(int descriptor, short events) {
    pollfd entry{.fd = descriptor, .events = events, .revents = 0};
    return poll(&entry, 1, 0) > 0 ? entry.revents : short{0};
}

/// Whether `link` is a symbolic link that an earlier run left behind.
bool IsLeftBehind(const fs::path& link, const fs::path& terminals) {
    std::error_code error;
    const fs::path target = fs::read_symlink(link, error);
    if (error) return false;
    const bool leadsSomewhere = fs::exists(link, error);
    return !error && (!leadsSomewhere || target.parent_path() == terminals);
}

}  // namespace

PtyLine::~PtyLine() {
    std::error_code error;
    if (!link_.empty() && fs::read_symlink(link_, error) == slavePath_) fs::remove(link_, error);
    readable_.reset();
    for (const int descriptor : {slave_, master_}) {
        if (descriptor >= 0) close(descriptor);
    }
}

Outcome PtyLine::Open(const QString& link) {
    if (Outcome made = MakeTerminal(); !made) return made;
    readable_ = std::make_unique<QSocketNotifier>(master_, QSocketNotifier::Read);
    connect(readable_.get(), &QSocketNotifier::activated, this, &PtyLine::TakeInput);
    return MakeLink(link);
}

Outcome PtyLine::MakeTerminal() {
    std::array<char, 64> path{};
    termios settings{};
    master_ = posix_openpt(kOpenMode);
    if (master_ >= 0 && grantpt(master_) == 0 && unlockpt(master_) == 0 &&
        ptsname_r(master_, path.data(), path.size()) == 0) {
        slavePath_ = path.data();
        slave_ = open(slavePath_.c_str(), kOpenMode);
    }
    if (slave_ >= 0 && tcgetattr(slave_, &settings) == 0) {
        cfmakeraw(&settings);
        if (tcsetattr(slave_, TCSANOW, &settings) == 0) return Outcome::Success();
    }
    return Outcome::Failure(u"Cannot make a pseudo terminal: %1"_s.arg(qt_error_string(errno)));
}

Outcome PtyLine::MakeLink(const QString& link) {
    const std::string path = QFile::encodeName(link).toStdString();
    std::error_code error;
    if (IsLeftBehind(path, fs::path(slavePath_).parent_path())) fs::remove(path, error);
    fs::create_symlink(slavePath_, path, error);
    if (error) {
        const QString why = QString::fromStdString(error.message());
        return Outcome::Failure(u"Cannot make the link %1: %2"_s.arg(link, why));
    }
    link_ = path;
    return Outcome::Success();
}

LineState PtyLine::State() {
    if (!SomebodyListens()) return LineState::Unheard;
    if (Unread() == 0) sent_ = 0;
    return sent_ <= kMostUnread ? LineState::Ready : LineState::Blocked;
}

void PtyLine::Send(std::span<const std::uint8_t> bytes) {
    // Never less than all of it: the system takes some ten thousand bytes, and little of that is in use.
    [[maybe_unused]] const ssize_t taken = write(master_, bytes.data(), bytes.size());
    sent_ += bytes.size();
}

std::int64_t PtyLine::Unsent() {
    return SomebodyListens() ? Unread() : 0;
}

std::int64_t PtyLine::Unread() const {
    // Bytes that are still on their way to the slave do not count yet. A look at a slave where nothing can be
    // read brings them there; where something can, they may come after it was read, so it is not 0 then.
    const bool readable = (Poll(slave_, POLLIN) & POLLIN) != 0;
    int count = 0;
    ioctl(slave_, FIONREAD, &count);
    return readable ? std::max(count, 1) : count;
}

/// Only the master knows, and only while the slave is not open here: it is hung up when nobody has it open.
bool PtyLine::SomebodyListens() {
    // A listener may have locked out all others, this program among them.
    int exclusive = 0;
    ioctl(slave_, TIOCGEXCL, &exclusive);
    ioctl(slave_, TIOCNXCL);
    close(slave_);
    const bool heard = (Poll(master_, 0) & POLLHUP) == 0;
    slave_ = open(slavePath_.c_str(), kOpenMode);
    if (heard) {
        if (exclusive != 0) ioctl(slave_, TIOCEXCL);
        return true;
    }
    tcflush(slave_, TCIFLUSH);
    return false;
}

void PtyLine::TakeInput() {
    std::array<std::uint8_t, 4096> bytes{};
    const ssize_t count = read(master_, bytes.data(), bytes.size());
    if (count > 0) Received(std::span(bytes).first(static_cast<std::size_t>(count)));
}

}  // namespace corvane
