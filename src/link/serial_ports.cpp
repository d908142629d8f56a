#include "link/serial_ports.h"

#include <QFile>
#include <QFileInfo>
#include <QSerialPort>
#include <QSerialPortInfo>

#ifdef Q_OS_LINUX
#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#endif

#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

Outcome CheckComDevice(QString& text, const SettingValues&) {
    if (text.isEmpty() || text.startsWith(u'/')) return Outcome::Success();
    return Outcome::Failure(
        u"ComDevice# is a full path, such as /dev/ttyUSB0, or empty for the usual one."_s);
}

QString ComDevice(int number, const SettingsStore& settings) {
#ifdef Q_OS_WIN
    Q_UNUSED(settings);
    return u"COM%1"_s.arg(number);
#else
    QString chosen = settings.Value(kComDevice, {.member = QString::number(number)});
    if (!chosen.isEmpty()) return chosen;
    if (number >= 49) return u"/dev/ttyACM%1"_s.arg(number - 49);
    if (number >= 33) return u"/dev/ttyUSB%1"_s.arg(number - 33);
    return u"/dev/ttyS%1"_s.arg(number - 1);
#endif
}

QString LinkedDevice(const QString& path) {
    const QString device = QFileInfo(path).canonicalFilePath();
    return device.isEmpty() ? path : device;
}

QString PortStateText(PortState state, const QString& path) {
    switch (state) {
        case PortState::Missing:
            return u"is not there"_s;
        case PortState::Free:
            return u"is free"_s;
        case PortState::Busy:
            return u"is in use already"_s;
        case PortState::OwnLink:
            return u"is in use by Corvane"_s;
        case PortState::Denied:
            break;
    }
    const QFileInfo device(path);
    if (device.group().isEmpty() || !device.permission(QFile::ReadGroup | QFile::WriteGroup)) {
        return u"is not open to this user"_s;
    }
    return u"belongs to the group %1: add yourself to the group %1: sudo usermod -aG %1 $USER, "
           "then log in again"_s.arg(device.group());
}

#ifdef Q_OS_LINUX

// QSerialPort is of no use here: it would change the settings of a port that another program has open, and it
// does not see that the port is taken where this user is root.
PortState SystemSerialPorts::TestPort(const QString& path) {
    const int descriptor =
        open(QFile::encodeName(path).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        if (errno == EBUSY) return PortState::Busy;
        return errno == EACCES || errno == EPERM ? PortState::Denied : PortState::Missing;
    }
    PortState state = PortState::Free;
    termios settings{};
    int exclusive = 0;
    // Many a node stands for a UART that the machine does not have: it can be opened, but has no settings.
    if (tcgetattr(descriptor, &settings) != 0) {
        state = PortState::Missing;
    } else if ((ioctl(descriptor, TIOCGEXCL, &exclusive) == 0 && exclusive != 0) ||
               flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        state = PortState::Busy;
    }
    close(descriptor);
    return state;
}

#else

PortState SystemSerialPorts::TestPort(const QString& path) {
    QSerialPort port(path);
    if (port.open(QIODevice::ReadWrite)) return PortState::Free;
    return port.error() == QSerialPort::PermissionError ? PortState::Busy : PortState::Missing;
}

#endif

QString SystemSerialPorts::Product(const QString& path) {
    return QSerialPortInfo(QFileInfo(LinkedDevice(path)).fileName()).description();
}

}  // namespace corvane
