#include "Platform/Linux/SystemFacts.hpp"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string_view>
#include <sys/random.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <Velmor/Platform/Device.hpp>

namespace Velmor {
namespace {

std::string linkTarget(const char* path) {
    std::array<char, PATH_MAX> target{};
    const auto length = readlink(path, target.data(), target.size());
    return length > 0 ? std::string(target.data(), static_cast<std::size_t>(length)) : std::string();
}

std::optional<std::string> programName() {
    auto name = printable(linkTarget("/proc/self/exe"));
    name.erase(0, name.rfind('/') + 1);
    constexpr std::string_view kDeleted = " (deleted)";  // the kernel's mark for a replaced program
    if (name.ends_with(kDeleted)) name.resize(name.size() - kDeleted.size());
    if (name.empty()) name = firstLine("/proc/self/comm");
    if (name.empty()) return {};
    return name;
}

class SystemDevice : public Device {
  public:
    SystemDevice() {
        utsname kernel{};
        uname(&kernel);
        facts_ = readOsRelease({"/etc/os-release", "/usr/lib/os-release"});
        if (facts_.systemName.empty()) facts_.systemName = printable(kernel.sysname);
        if (facts_.systemVersion.empty()) facts_.systemVersion = printable(kernel.release);
        facts_.model = printable(kernel.machine);
        facts_.bundleName = programName();
    }

    DeviceFacts facts() const override { return facts_; }

    std::string timeZone() const override {
        const char* variable = std::getenv("TZ");
        if (variable == nullptr) {
            for (const auto& name : {zoneOfPath(linkTarget("/etc/localtime")), firstLine("/etc/timezone")})
                if (isZone(name)) return name;
        } else if (auto name = zoneOfVariable(variable); isZone(name)) {
            return name;
        }
        return zoneOfOffset(localTime(std::chrono::system_clock::now()).tm_gmtoff);
    }

    // The locale is that of times; a list of languages, which the C locale makes void, goes before it.
    std::string language() const override {
        for (const char* name : {"LC_ALL", "LC_TIME", "LANG"}) {
            const char* const locale = std::getenv(name);
            if (locale == nullptr || *locale == '\0') continue;
            const auto language = languageOfLocale(locale);
            const char* const list = std::getenv("LANGUAGE");
            if (language.empty()) break;
            return list != nullptr && *list != '\0' ? languageOfLocale(list) : language;
        }
        return "en";
    }

    std::tm localTime(WallTime time) const override {
        tzset();  // follows a zone that was changed while the application runs
        const auto seconds = static_cast<std::time_t>(
            std::chrono::floor<std::chrono::seconds>(time.time_since_epoch()).count());
        std::tm fields{};
        localtime_r(&seconds, &fields);
        return fields;
    }

    void fillRandom(std::span<std::byte> bytes) const override {
        while (!bytes.empty()) {
            const auto count = getrandom(bytes.data(), bytes.size(), 0);
            if (count < 0 && errno != EINTR) std::abort();  // ids that can be guessed would be worse
            if (count > 0) bytes = bytes.subspan(static_cast<std::size_t>(count));
        }
    }

  private:
    DeviceFacts facts_;
};

}  // namespace

std::shared_ptr<Device> makeDevice() {
    return std::make_shared<SystemDevice>();
}

}  // namespace Velmor
