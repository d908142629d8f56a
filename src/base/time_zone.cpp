#include "base/time_zone.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace corvane {

namespace {

/// Whether a file begins as RFC 8536 has it.
bool IsZoneFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string magic(4, '\0');
    return file.read(magic.data(), 4) && magic == "TZif";
}

/// Whether the name of a zone is one of those for UTC, which is what is taken without its file.
bool MeansUtc(std::string name) {
    if (name.starts_with("Etc/")) name.erase(0, 4);
    constexpr const char* kNames[] = {"", "UTC", "UCT", "GMT", "Zulu", "Universal", "Greenwich"};
    return std::ranges::any_of(kNames, [&](const char* known) { return name == known; });
}

/// Whether a zone is spelled out, as in "CET-1CEST,M3.5.0,M10.5.0/3", and needs no file: a name of three
/// letters or more, or one in angle brackets, and how far it is from UTC.
bool IsRule(std::string_view zone) {
    constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    const bool quoted = zone.starts_with('<');
    const std::size_t end = quoted ? zone.find('>') : zone.find_first_not_of(kLetters);
    if (end == std::string_view::npos || end < (quoted ? 4 : 3)) return false;
    zone.remove_prefix(quoted ? end + 1 : end);
    if (zone.starts_with('+') || zone.starts_with('-')) zone.remove_prefix(1);
    return !zone.empty() && zone.front() >= '0' && zone.front() <= '9';
}

std::string Unread(const std::string& what) {
    return "The time zone cannot be read (" + what +
           "), so all times are those of UTC, and days begin at midnight of UTC. Install the package tzdata, "
           "choose the zone with timedatectl set-timezone, and start again.";
}

}  // namespace

TimeZoneSources TimeZoneSources::Here() {
    TimeZoneSources sources;
    if (const char* zone = std::getenv("TZ")) sources.variable = zone;
    if (const char* folder = std::getenv("TZDIR")) sources.folder = folder;
    return sources;
}

std::string TimeZoneProblem(const TimeZoneSources& sources) {
#ifndef _WIN32
    if (sources.variable) {
        std::string zone = *sources.variable;
        if (zone.starts_with(':')) zone.erase(0, 1);
        const std::string file = zone.starts_with('/') ? zone : sources.folder + '/' + zone;
        if (MeansUtc(zone) || IsZoneFile(file) || IsRule(zone)) return {};
        return Unread("TZ is \"" + zone + "\"");
    }
    if (IsZoneFile(sources.localTime)) return {};
    std::error_code error;
    const std::string target = std::filesystem::read_symlink(sources.localTime, error).string();
    if (error) return Unread("there is no usable " + sources.localTime);
    const auto name = target.find("zoneinfo/");
    if (name != std::string::npos && MeansUtc(target.substr(name + 9))) return {};
    return Unread(sources.localTime + " leads to " + target);
#else
    (void)sources;
    return {};
#endif
}

}  // namespace corvane
