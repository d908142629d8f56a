#include "sim/sim_options.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTime>

#include <algorithm>
#include <array>
#include <limits>
#include <string>

#include "base/exit_codes.h"
#include "link/host_port.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr double kLowestSpeed = 0.001;
constexpr double kHighestSpeed = 1e9;
constexpr qint64 kLowestBaud = 1200;
constexpr qint64 kHighestBaud = 115200;

QString Text(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QCommandLineOption Option(std::string_view name, std::string_view description, std::string_view valueName,
                          std::string_view defaultValue = {}) {
    const QString suffix = defaultValue.empty() ? QString() : u" Default: %1."_s.arg(Text(defaultValue));
    return {Text(name), Text(description) + suffix, Text(valueName), Text(defaultValue)};
}

std::string ScenarioHelp() {
    std::string text = "What happens.";
    for (const Scenario& scenario : Scenarios())
        text.append("\n").append(scenario.name).append(": ").append(scenario.summary).append(".");
    return text + "\n";
}

struct Fault {
    QLatin1StringView name;
    bool MonitorFaults::*member;
};

constexpr Fault kFaults[] = {
    {"short-block"_L1, &MonitorFaults::shortBlock},
    {"late"_L1, &MonitorFaults::late},
    {"garbled"_L1, &MonitorFaults::garbled},
    {"halves"_L1, &MonitorFaults::halves},
    {"mute"_L1, &MonitorFaults::mute},
    {"busy"_L1, &MonitorFaults::busy},
};

/// Reads the options' values one after the other; of several faults the first is told.
class OptionReader {
public:
    OptionReader();

    [[nodiscard]] std::variant<SimOptions, SimOptionsExit> Read(const QStringList& arguments);

private:
    MonitorConfig ReadMonitor();
    MonitorFaults ReadFaults();
    void ReadLine(SimOptions& options);
    ConnectTo ReadPeer();
    qint64 WholeNumber(const QCommandLineOption& option, qint64 lowest, qint64 highest);
    QString Path(const QCommandLineOption& option);
    double Speed();

    void Refuse(const QCommandLineOption& option, const QString& why) {
        if (error_.isEmpty())
            error_ = u"--%1 %2: %3."_s.arg(option.names().last(), parser_.value(option), why);
    }

    const QCommandLineOption model_ =
        Option("model", "VRQ-5810 (five channels) or VRQ-5806 (two).", "MODEL", "VRQ-5810");
    const QCommandLineOption serial_ =
        Option("serial", "Unit id, then five digits of serial number.", "TEXT", "100001");
    const QCommandLineOption connect_ =
        Option("connect", "Connect there, and again whenever it is lost.", "HOST:PORT");
    const QCommandLineOption listen_ =
        Option("listen", "Wait for a connection; 0: the system chooses the port.", "PORT");
    const QCommandLineOption pty_ = Option(
        "pty", "Make a pseudo terminal, and a symbolic link to it that opens as a serial port.", "LINK");
    const QCommandLineOption port_ =
        Option("port", "Send out of this serial port; 8 data bits, no parity, 1 stop bit.", "DEVICE");
    const QCommandLineOption baud_ = Option("baud", "Speed of the serial port.", "N", "19200");
    const QCommandLineOption interval_ =
        Option("interval", "Seconds from packet to packet, 1 to 255.", "S", "8");
    const QCommandLineOption speed_ =
        Option("speed", "Let the time between packets pass N times as fast.", "N", "1");
    const QCommandLineOption scenario_ = Option("scenario", ScenarioHelp(), "NAME", "steady");
    const QCommandLineOption start_ =
        Option("start", "Time of day at which a solar-day starts.", "HH:MM", "06:00");
    const QCommandLineOption seed_ = Option("seed", "The same seed gives the same packets.", "N", "1");
    const QCommandLineOption fault_ = Option("fault",
                                             "Answer commands wrongly; may be given several times.\n"
                                             "lose-ack-N: no acknowledgement of the Nth piece, 1 to 9.\n"
                                             "short-block: 33 bytes for the settings.\n"
                                             "late: the settings, and a byte of memory, after four seconds.\n"
                                             "garbled: these with every bit inverted.\n"
                                             "halves: these in two halves, a second apart.\n"
                                             "mute: no answer at all.\n"
                                             "busy: packets go on, whatever is said.\n",
                                             "NAME");
    const QCommandLineOption commandByte_ =
        Option("command-byte", "The byte that it takes for the beginning of a command.", "N", "252");
    const QCommandLineOption count_ = Option("count", "End after N packets; 0: go on.", "N", "0");
    const QCommandLineOption help_{{u"h"_s, u"help"_s}, u"Print this help."_s};
    const QCommandLineOption version_{u"version"_s, u"Print the version."_s};
    QCommandLineParser parser_;
    QString error_;
};

OptionReader::OptionReader() {
    parser_.setApplicationDescription(u"Plays a home electricity monitor."_s);
    parser_.addOptions({model_, serial_, connect_, listen_, pty_, port_, baud_, interval_, speed_, scenario_,
                        start_, seed_, commandByte_, fault_, count_, help_, version_});
}

std::variant<SimOptions, SimOptionsExit> OptionReader::Read(const QStringList& arguments) {
    SimOptions options;
    if (!parser_.parse(arguments)) {
        error_ = parser_.errorText();
    } else if (!parser_.positionalArguments().isEmpty()) {
        error_ = u"Unexpected argument '%1'."_s.arg(parser_.positionalArguments().first());
    } else if (parser_.isSet(help_)) {
        return SimOptionsExit{parser_.helpText(), kExitOk};
    } else if (parser_.isSet(version_)) {
        return SimOptionsExit{u"corvane-sim %1"_s.arg(QCoreApplication::applicationVersion()), kExitOk};
    } else {
        options.monitor = ReadMonitor();
        options.faults = ReadFaults();
        options.pace = {
            .pause = options.monitor.interval * 1000.0 / Speed(),
            .count = static_cast<std::uint64_t>(WholeNumber(count_, 0, std::numeric_limits<qint64>::max()))};
        ReadLine(options);
    }
    if (!error_.isEmpty()) return SimOptionsExit{error_ + u"\nTry --help."_s, kExitUsage};
    return options;
}

MonitorConfig OptionReader::ReadMonitor() {
    MonitorConfig config;
    if (const MonitorModel* model = ModelOfName(parser_.value(model_).toStdString())) {
        config.model = model;
    } else {
        Refuse(model_, u"no such model"_s);
    }

    const auto serial = ParseMonitorSerial(parser_.value(serial_).toStdString());
    if (const auto* parsed = std::get_if<MonitorSerial>(&serial)) config.serial = *parsed;
    if (const auto* why = std::get_if<std::string>(&serial)) Refuse(serial_, QString::fromStdString(*why));

    if (const Scenario* scenario = FindScenario(parser_.value(scenario_).toStdString())) {
        config.scenario = scenario;
    } else {
        Refuse(scenario_, u"no such scenario"_s);
    }

    const QTime start = QTime::fromString(parser_.value(start_), u"HH:mm"_s);
    if (!start.isValid()) Refuse(start_, u"expected a time such as 06:00"_s);
    config.startSecondOfDay = start.isValid() ? start.msecsSinceStartOfDay() / 1000 : 0;

    config.interval = static_cast<std::int32_t>(WholeNumber(interval_, 1, 255));
    config.commandByte = static_cast<std::uint8_t>(WholeNumber(commandByte_, 0, 255));
    config.seed =
        static_cast<std::uint32_t>(WholeNumber(seed_, 0, std::numeric_limits<std::uint32_t>::max()));
    return config;
}

MonitorFaults OptionReader::ReadFaults() {
    MonitorFaults faults;
    for (const QString& name : parser_.values(fault_)) {
        const auto* known = std::ranges::find(kFaults, name, &Fault::name);
        if (known != std::end(kFaults)) {
            faults.*known->member = true;
        } else if (name.size() == 10 && name.startsWith("lose-ack-"_L1) && name.back() >= u'1' &&
                   name.back() <= u'9') {
            faults.loseAcknowledgement = name.back().digitValue();
        } else {
            Refuse(fault_, u"no such fault"_s);
        }
    }
    return faults;
}

void OptionReader::ReadLine(SimOptions& options) {
    const std::array lines = {&connect_, &listen_, &pty_, &port_};
    const auto given = [this](const QCommandLineOption* option) { return parser_.isSet(*option); };
    if (std::count_if(lines.begin(), lines.end(), given) != 1) {
        if (error_.isEmpty())
            error_ = u"Give one of --connect HOST:PORT, --listen PORT, --pty LINK and --port DEVICE."_s;
    } else if (parser_.isSet(connect_)) {
        options.line = ReadPeer();
    } else if (parser_.isSet(listen_)) {
        options.line = ListenOn{static_cast<std::uint16_t>(WholeNumber(listen_, 0, 65535))};
    } else if (parser_.isSet(pty_)) {
        options.line = LinkPty{Path(pty_)};
    } else {
        const qint64 baud = WholeNumber(baud_, kLowestBaud, kHighestBaud);
        options.line = OpenPort{Path(port_), static_cast<std::int32_t>(baud)};
    }
    if (parser_.isSet(baud_) && !parser_.isSet(port_)) Refuse(baud_, u"goes with --port alone"_s);
}

ConnectTo OptionReader::ReadPeer() {
    const HostPort peer = ParseHostPort(parser_.value(connect_)).value_or(HostPort{});
    if (peer.port == 0) Refuse(connect_, u"expected a host, a colon and a port of 1 to 65535"_s);
    return {peer.host, peer.port};
}

QString OptionReader::Path(const QCommandLineOption& option) {
    if (parser_.value(option).isEmpty()) Refuse(option, u"expected a path"_s);
    return parser_.value(option);
}

qint64 OptionReader::WholeNumber(const QCommandLineOption& option, qint64 lowest, qint64 highest) {
    bool isNumber = false;
    const qint64 number = parser_.value(option).toLongLong(&isNumber);
    if (isNumber && lowest <= number && number <= highest) return number;
    Refuse(option, u"expected a whole number from %1 to %2"_s.arg(lowest).arg(highest));
    return lowest;
}

double OptionReader::Speed() {
    bool isNumber = false;
    const double speed = parser_.value(speed_).toDouble(&isNumber);
    // Written so that "nan" is refused too.
    if (isNumber && kLowestSpeed <= speed && speed <= kHighestSpeed) return speed;
    Refuse(speed_, u"expected a number from %1 to %2"_s.arg(kLowestSpeed).arg(kHighestSpeed, 0, 'f', 0));
    return 1;
}

}  // namespace

std::variant<SimOptions, SimOptionsExit> ParseSimOptions(const QStringList& arguments) {
    return OptionReader().Read(arguments);
}

}  // namespace corvane
