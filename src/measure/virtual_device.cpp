#include "measure/virtual_device.h"

#include <array>

#include "base/operator.h"
#include "measure/channel_groups.h"
#include "measure/virtual_channels.h"
#include "store/capture_database.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// What belongs to an installation type, in the order of `InstallationType`.
struct TypeWords {
    const char* name;
    const char* channels;  ///< CH1 to AUX5 of the virtual device, as the question lists them
    const char* proceed;   ///< the warning before changing to this type
    const char* labels;    ///< the statement that names the channels in the database
};

constexpr std::array<TypeWords, 2> kTypes = {{
    {"Standard Residential Monitoring Setup",
     "Total Main Panel\nN/A\nN/A\nOther\nVirtual Channel 1\nVirtual Channel 2\nVirtual Channel 3",
     "If you proceed with this option, the current \"Net Metering\" setup will be re-configured as a "
     "\"Consumption only\" system.",
     "UPDATE applicationinfo SET ch1alias='Main Panel Consumption', ch2alias='Not Used', "
     "aux1alias='Not Used', aux2alias = 'Other (Un-Monitored) Loads', aux3alias = 'Virtual Channel 1' "
     "WHERE deviceaddress = '999999'"},
    {"NET Metering System Selling Excess Power to thePower Company",
     "Net Energy\nEnergy To Grid\nEnergy From Grid\nEnergy Generated\nEnergy Consumed\nVirtual Channel 2\n"
     "Virtual Channel 3",
     "If you proceed with this option, the current \"Consumption Only\" setup will be re-configured for "
     "\"Net Metering\".",
     "UPDATE applicationinfo SET ch1alias='Main Panel NET value', ch2alias='Energy to the Grid', "
     "aux1alias='Energy from the Grid', aux2alias='Energy Generated', aux3alias='Total Energy Consumed' "
     "WHERE deviceaddress = '999999'"},
}};

const TypeWords& WordsOf(InstallationType type) {
    return kTypes[static_cast<std::size_t>(type)];
}

QString Latin(const char* text) {
    return QString::fromLatin1(text);
}

QString SignOfGeneratedPower(bool bipolarMain) {
    return u"Your solar generated power will be plotted as a %1 amount in the dashboard. If you would like "
           u"to "
           "change this option, you must do it now during the setup."_s.arg(bipolarMain ? u"negative"_s
                                                                                        : u"positive"_s);
}

}  // namespace

bool VirtualDevice::Exists() const {
    return settings_.IsOn(kVirtualDeviceExists);
}

InstallationType VirtualDevice::Type() const {
    return settings_.IsOn(kNetMetering) ? InstallationType::NetMetering : InstallationType::ConsumptionOnly;
}

QString VirtualDevice::TypeText(InstallationType type) {
    return Latin(WordsOf(type).name);
}

QCoro::Task<Outcome> VirtualDevice::Create(Operator& op) {
    if (groups_.Empty()) {
        co_return Outcome::Failure(
            u"No Device and Device Channel has been selected. Make selection and try again"_s);
    }
    const InstallationType type = Type();
    const bool create = co_await op.AskYesNo(
        u"This will created a new group of seven channels representing:\n\n%1\n\n"
        "Would you like to create this new group now?"_s.arg(Latin(WordsOf(type).channels)));
    if (!create) co_return Outcome::Success();
    if (!CreateVD1(database_, type, op)) co_return Outcome::Failure(u"The virtual device was not created."_s);
    const Outcome labelled = UpdateLabels(type);
    if (labelled) settings_.Save(kVirtualDeviceExists, true);
    co_return labelled;
}

QCoro::Task<Outcome> VirtualDevice::Delete(Operator& op) {
    const bool sure = co_await op.AskYesNo(
        u"Are you sure you want to delete the virtual channel and all of its records?"_s);
    if (!sure) co_return Outcome::Success();
    // Only the row with its names goes, on purpose; what was captured stays.
    const QueryResult deleted = database_.Run("DELETE FROM applicationinfo where deviceaddress = '999999'");
    if (!deleted.Ok()) co_return Outcome::Failure(QString::fromStdString(deleted.errorText));
    settings_.Save(kVirtualDeviceExists, false);
    co_return Outcome::Success();
}

QCoro::Task<Outcome> VirtualDevice::SetInstallationType(InstallationType type, Operator& op) {
    if (type == Type()) co_return Outcome::Success();
    const bool change = co_await op.AskYesNo(
        u"Are you sure you wish to change the \"Installation Type\"?\n\n%1\n\n"
        "If changing this setting, the database should be cleared which would begin the monitoring session "
        "from the start.  Do you wish to continue?"_s.arg(Latin(WordsOf(type).proceed)));
    if (!change) co_return Outcome::Success();
    const bool netMetering = type == InstallationType::NetMetering;
    if (netMetering) {
        const bool sure = co_await op.AskYesNo(
            u"Warning! If activating this option, it is recomended to backup your current database and reset "
            "all devices to zero.\n\nAre you sure you wish to continue?"_s);
        if (!sure) co_return Outcome::Success();
        op.Show(SignOfGeneratedPower(settings_.IsOn(kBipolarMain)));
    }
    settings_.Save(kNetMetering, netMetering);
    co_return UpdateLabels(type);
}

Outcome VirtualDevice::UpdateLabels(InstallationType type) const {
    const QueryResult updated = database_.Run(WordsOf(type).labels);
    if (updated.Ok()) return Outcome::Success();
    return Outcome::Failure(u"The database could not be told the names of the virtual channels: "_s +
                            QString::fromStdString(updated.errorText));
}

QString VirtualDevice::SetMainPanelID() const {
    const QueryResult found = database_.Run("SELECT  totalpanelchannel FROM applications WHERE id = '1' ");
    if (found.rows.empty()) return {};
    return QString::fromStdString(found.rows.front().front().value_or(""));
}

}  // namespace corvane
