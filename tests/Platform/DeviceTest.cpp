#include "../Faults/Here.hpp"
#include "Platform/Linux/SystemFacts.hpp"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <utility>
#include <vector>

namespace Velmor {
namespace {

TEST(SystemFacts, ReadsOsReleaseAsAShellWould) {
    struct Case {
        const char *text, *name, *version;
    };
    const auto path = testing::TempDir() + "velmor-os-release";
    for (const auto& [text, name, version] :
         std::vector<Case>{{"PRETTY_NAME=\"X 1\"\nNAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n",
                            "Debian GNU/Linux", "12"},
                           {"NAME=Alpine\nVERSION_ID='3.19'", "Alpine", "3.19"},
                           {"NAME=\"a \\\"b\\\" \\$c\"\n", "a \"b\" $c", ""},
                           {"NAME=\"Evil\x01\x7f\xc3\xa9\r\"\nVERSION_ID=\n", "Evil", ""},
                           {"", "", ""}}) {
        std::ofstream(path) << text;
        const auto facts = readOsRelease({"/nonexistent", path.c_str(), "/etc/os-release"});
        EXPECT_EQ(facts.systemName, name);
        EXPECT_EQ(facts.systemVersion, version);
    }
    std::filesystem::remove(path);
}

TEST(SystemFacts, FindsZoneNames) {
    EXPECT_EQ(zoneOfPath("/usr/share/zoneinfo/Europe/Berlin"), "Europe/Berlin");
    EXPECT_EQ(zoneOfPath("../usr/share/zoneinfo/right/America/Argentina/Ushuaia"),
              "America/Argentina/Ushuaia");
    EXPECT_EQ(zoneOfPath("/etc/adjtime"), "");
    EXPECT_EQ(zoneOfVariable(":Asia/Tokyo"), "Asia/Tokyo");
    EXPECT_EQ(zoneOfVariable("/usr/share/zoneinfo/posix/Asia/Tokyo"), "Asia/Tokyo");
    EXPECT_EQ(zoneOfVariable(""), "UTC");
    for (const char* name :
         {"", "/etc/passwd", "../../../etc/passwd", "CET-1CEST", "Europe\r\nx: y", "Europe"})
        EXPECT_FALSE(isZone(name)) << name;
    EXPECT_EQ(zoneOfOffset(3600), "Etc/GMT-1");
    EXPECT_EQ(zoneOfOffset(-5 * 3600), "Etc/GMT+5");
    for (const long offset : {0L, 19800L, 15L * 3600, -13L * 3600}) EXPECT_EQ(zoneOfOffset(offset), "UTC");
}

TEST(SystemDevice, FollowsTheZoneVariable) {
    const auto device = makeDevice();
    const WallTime summer{std::chrono::seconds{1'720'000'000}};  // 2024-07-03 09:46:40 UTC
    const std::vector<std::tuple<const char*, const char*, int>> cases{
        {"XYZ-2", "Etc/GMT-2", 11}, {"UTC", "UTC", 9}, {"Europe/Berlin", "Europe/Berlin", 11}};
    for (const auto& [variable, zone, hour] : cases) {
        if (zone == std::string("Europe/Berlin") && !isZone(zone)) continue;  // no zone database here
        setenv("TZ", variable, 1);
        EXPECT_EQ(device->localTime(summer).tm_hour, hour) << variable;
        EXPECT_EQ(device->timeZone(), zone);
    }
    unsetenv("TZ");
    tzset();
}

TEST(SystemDevice, FollowsTheZoneOfTheSystem) {
    if (!isZone("Asia/Tokyo")) GTEST_SKIP() << "no zone database here";
    const auto device = makeDevice();
    std::vector<std::string> zones;
    const auto followZones = [&] {
        if (mount("none", "/etc", "tmpfs", 0, nullptr) != 0) return;
        for (const char* zone : {"/usr/share/zoneinfo/Asia/Tokyo", "../usr/share/zoneinfo/Europe/Berlin"}) {
            std::filesystem::remove("/etc/localtime");
            std::filesystem::create_symlink(zone, "/etc/localtime");
            zones.push_back(device->timeZone());
        }
        std::filesystem::remove("/etc/localtime");
        for (const char* line : {"America/Lima\n", "Nowhere\n"}) {
            std::ofstream("/etc/timezone") << line;
            zones.push_back(device->timeZone());
        }
    };
    if (!Faults::apart(0, followZones)) GTEST_SKIP() << "this process may not have an /etc of its own";
    EXPECT_EQ(zones, (std::vector<std::string>{"Asia/Tokyo", "Europe/Berlin", "America/Lima", "UTC"}));
    tzset();
}

TEST(SystemDevice, FollowsTheLanguageVariables) {
    const std::array<const char*, 4> names{"LANGUAGE", "LC_ALL", "LC_TIME", "LANG"};
    const std::vector<std::pair<std::array<const char*, 4>, const char*>> rows{
        {{"", "", "", "de_DE.UTF-8"}, "de_DE"},       {{"", "", "ar_EG", "de_DE"}, "ar_EG"},
        {{"", "fa_IR@x", "ar_EG", "de_DE"}, "fa_IR"}, {{"bn:en", "", "", "de_DE"}, "bn"},
        {{"bn", "C.UTF-8", "", "de_DE"}, "en"},       {{"", "", "", ""}, "en"}};
    for (const auto& [values, language] : rows) {
        for (std::size_t i = 0; i < names.size(); ++i) setenv(names[i], values[i], 1);
        EXPECT_EQ(makeDevice()->language(), language);
    }
    for (const char* name : names) unsetenv(name);
}

TEST(SystemDevice, TellsWhatMayStandInAHeader) {
    const auto device = makeDevice();
    const auto facts = device->facts();
    for (const auto& text :
         {facts.systemName, facts.systemVersion, facts.model, facts.bundleName.value_or("")}) {
        EXPECT_FALSE(text.empty());
        EXPECT_EQ(text, printable(text));
    }
    EXPECT_EQ(facts.bundleName, "velmor_platform_tests");
    std::array<std::byte, 32> a{}, b{};
    device->fillRandom(a);
    device->fillRandom(b);
    EXPECT_NE(a, b);
}

}  // namespace
}  // namespace Velmor
