#include "app/listening_checks.h"

#include <QHostAddress>

#include "app/settings.h"
#include "forward/forwarding_server.h"
#include "link/acceptor.h"
#include "link/tcp_link.h"
#include "store/settings_store.h"
#include "web/web_setup.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr const Setting* kPorts[] = {&kTcpPortA, &kTcpPortB, &kListeningPort, &kServerBPort, &kWebPort};

/// Whether the port is one of another machine.
bool IsOfTheOtherEnd(const Setting& port, const SettingsStore& store) {
    return &port == &kTcpPortB && store.Value(kTcpModeB) == "client"_L1;
}

Outcome CheckPortToBe(const Setting& port, const QString& number, SettingsStore& store) {
    if (number == store.Value(port) || IsOfTheOtherEnd(port, store)) return Outcome::Success();
    const QHostAddress address =
        &port == &kWebPort ? WebSetup::Load(store).address : QHostAddress(QHostAddress::Any);
    const Outcome free = CheckListening(address, number.toUShort());
    if (free) return Outcome::Success();
    for (const Setting* other : kPorts) {
        if (other != &port && !IsOfTheOtherEnd(*other, store) && store.Value(*other) == number)
            return Outcome::Failure(u"Port %1 is that of %2."_s.arg(number, SettingKey(*other)));
    }
    return Outcome::Failure(u"%1 cannot be %2: %3."_s.arg(SettingKey(port), number, free.Error()));
}

Outcome CheckListenToBe(const QString& text, SettingsStore& store) {
    WebSetup setup = WebSetup::Load(store);
    setup.address = QHostAddress(text);
    Outcome served = setup.Check();
    if (!served) return served;
    const Outcome ours = CheckListening(setup.address, 0);
    return ours ? Outcome::Success() : Outcome::Failure(u"WebListen cannot be that: %1."_s.arg(ours.Error()));
}

Outcome CheckTokenToBe(const QString& text, SettingsStore& store) {
    WebSetup setup = WebSetup::Load(store);
    setup.token = text;
    return setup.Check();
}

}  // namespace

void AddListeningChecks(Settings& settings) {
    SettingsStore& store = settings.Store();
    for (const Setting* port : kPorts)
        settings.AddCheck(*port, [port, &store](QString& text) { return CheckPortToBe(*port, text, store); });
    settings.AddCheck(kWebListen, [&store](QString& text) { return CheckListenToBe(text, store); });
    settings.AddCheck(kWebToken, [&store](QString& text) { return CheckTokenToBe(text, store); });
}

}  // namespace corvane
