#include "base/time_zone.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

/// A machine whose zones are Berlin and a damaged one; `link` is where its /etc/localtime leads, if there is
/// one.
class Machine {
public:
    explicit Machine(const std::string& link) {
        std::filesystem::create_directories(Path("zoneinfo/Europe"));
        std::filesystem::create_directories(Path("zoneinfo/Etc"));
        folder_.Write(u"zoneinfo/Europe/Berlin"_s, "TZif2...");
        folder_.Write(u"zoneinfo/Europe/Damaged"_s, "TZ");
        if (!link.empty()) std::filesystem::create_symlink(Path("zoneinfo/" + link), Path("localtime"));
    }

    [[nodiscard]] std::string Problem(const std::optional<std::string>& variable) const {
        return TimeZoneProblem(
            {.variable = variable, .localTime = Path("localtime"), .folder = Path("zoneinfo")});
    }
    [[nodiscard]] std::string Path(const std::string& name) const {
        return folder_.Path(QString::fromStdString(name)).toStdString();
    }

private:
    TempFolder folder_;
};

TEST(TimeZone, IsMissedWhereTheSystemWouldTakeUtcUnasked) {
    const struct {
        const char* link;
        std::optional<std::string> variable;
        const char* told;  ///< a part of what is; "" for nothing
    } cases[] = {
        {"Europe/Berlin", {}, ""},
        {"", {}, "there is no usable "},
        {"Europe/Damaged", {}, "zoneinfo/Europe/Damaged"},
        {"Europe/Paris", {}, "zoneinfo/Europe/Paris"},
        {"Etc/UTC", {}, ""},
        {"Etc/GMT-1", {}, "zoneinfo/Etc/GMT-1"},

        {"Europe/Paris", "Europe/Berlin", ""},
        {"Europe/Paris", ":Europe/Berlin", ""},
        {"Europe/Berlin", "Europe/Paris", "TZ is \"Europe/Paris\""},
        {"Europe/Berlin", "EST", "TZ is \"EST\""},
        {"Europe/Berlin", "/nowhere/Berlin", "TZ is \"/nowhere/Berlin\""},
        {"Europe/Paris", "", ""},
        {"Europe/Paris", "UTC", ""},
        {"Europe/Paris", "CET-1CEST,M3.5.0,M10.5.0/3", ""},
        {"Europe/Paris", "<+0530>-5:30", ""},
        {"Europe/Paris", "<abc>+1", ""},
        {"Europe/Paris", "<ab>-1", "TZ is \"<ab>-1\""},
        {"Europe/Paris", "<abc-1", "TZ is \"<abc-1\""},
        {"Europe/Paris", "ABC9", ""},
        {"Europe/Paris", "AB1", "TZ is \"AB1\""},
        {"Europe/Paris", "CET-", "TZ is \"CET-\""},
        {"Europe/Paris", "CET/", "TZ is \"CET/\""},
        {"Europe/Paris", "CET:", "TZ is \"CET:\""},
        {"Europe/Paris", "Etc/Zulu", ""},
        {"Europe/Paris", "Europe", "TZ is \"Europe\""},
    };
    for (const auto& c : cases) {
        const std::string said = Machine(c.link).Problem(c.variable);
        SCOPED_TRACE(std::string(c.link) + ", " + c.variable.value_or("no TZ") + ": " + said);
        EXPECT_EQ(said.empty(), *c.told == '\0');
        EXPECT_NE(said.find(c.told), std::string::npos);
    }
}

TEST(TimeZone, MayBeGivenByAFileAnywhere) {
    const Machine machine("");
    EXPECT_EQ(machine.Problem(machine.Path("zoneinfo/Europe/Berlin")), "");
    EXPECT_EQ(machine.Problem({}),
              "The time zone cannot be read (there is no usable " + machine.Path("localtime") +
                  "), so all times are those of UTC, and days begin at midnight of UTC. Install the package "
                  "tzdata, choose the zone with timedatectl set-timezone, and start again.");
    qputenv("TZDIR", machine.Path("zoneinfo").c_str());
    qputenv("TZ", "Europe/Berlin");
    const TimeZoneSources here = TimeZoneSources::Here();
    qunsetenv("TZDIR");
    qputenv("TZ", "UTC");
    EXPECT_EQ(here.variable, "Europe/Berlin");
    EXPECT_EQ(here.folder, machine.Path("zoneinfo"));
    EXPECT_EQ(TimeZoneSources::Here().folder, "/usr/share/zoneinfo");
}

}  // namespace
}  // namespace corvane
