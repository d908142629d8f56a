#include "base/time_zone.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/data_lines.h"
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
    for (const DataLine& line : LinesOf("Zones")) {
        const auto given = [&](qsizetype i) {
            return line.Word(i) == "-" ? std::nullopt : std::optional(line.Word(i));
        };
        const std::string said = Machine(given(0).value_or("")).Problem(given(1));
        SCOPED_TRACE(line);
        EXPECT_EQ(said.empty(), line.Word(2).empty()) << said;
        EXPECT_NE(said.find(line.Word(2)), std::string::npos) << said;
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
