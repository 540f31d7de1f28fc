#include "Platform/Linux/SystemFacts.hpp"

#include "Runtime/Text.hpp"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sys/stat.h>

namespace Velmor {
namespace {

constexpr std::string_view kZoneFolder = "/usr/share/zoneinfo/";

// The value of an assignment as a shell would read it, for the quoting that os-release allows.
std::string unquoted(std::string_view value) {
    const bool quoted =
        value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front();
    if (!quoted) return printable(value);
    std::string text;
    bool escaped = false;
    for (const char c : value.substr(1, value.size() - 2)) {
        if (c == '\\' && !escaped && value.front() == '"') {
            escaped = true;
            continue;
        }
        text.push_back(c);
        escaped = false;
    }
    return printable(text);
}

bool isZoneCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '+' || c == '-' || c == '/';
}

}  // namespace

std::string printable(std::string_view text) {
    std::string kept;
    std::copy_if(text.begin(), text.end(), std::back_inserter(kept),
                 [](char c) { return c >= ' ' && c <= '~'; });
    return kept;
}

std::string firstLine(const char* path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return printable(line);
}

DeviceFacts readOsRelease(std::initializer_list<const char*> paths) {
    DeviceFacts facts;
    for (const char* path : paths) {
        std::ifstream file(path);
        if (!file) continue;
        for (std::string line; std::getline(file, line);) {
            if (line.starts_with("NAME=")) facts.systemName = unquoted(std::string_view(line).substr(5));
            if (line.starts_with("VERSION_ID="))
                facts.systemVersion = unquoted(std::string_view(line).substr(11));
        }
        break;
    }
    return facts;
}

std::string languageOfLocale(std::string_view locale) {
    const auto language = locale.substr(0, locale.find_first_of(".@:"));
    return language == "C" || language == "POSIX" ? std::string() : printable(language);
}

bool isZone(const std::string& name) {
    if (name == "UTC") return true;
    if (name.empty() || name.front() == '/' || !std::ranges::all_of(name, isZoneCharacter)) return false;
    struct stat info {};
    return stat(joined({kZoneFolder, name}).c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

std::string zoneOfPath(std::string_view path) {
    constexpr std::string_view kFolder = "/zoneinfo/";
    const auto at = path.rfind(kFolder);
    if (at == std::string_view::npos) return {};
    path.remove_prefix(at + kFolder.size());
    for (const std::string_view variant : {"posix/", "right/"})
        if (path.starts_with(variant)) path.remove_prefix(variant.size());
    return std::string(path);
}

std::string zoneOfVariable(std::string_view value) {
    if (value.starts_with(':')) value.remove_prefix(1);
    if (value.empty()) return "UTC";
    return value.starts_with('/') ? zoneOfPath(value) : std::string(value);
}

std::string zoneOfOffset(long seconds) {
    const long hours = seconds / 3600;
    if (hours == 0 || seconds % 3600 != 0 || hours < -12 || hours > 14) return "UTC";
    return joined({hours > 0 ? "Etc/GMT-" : "Etc/GMT+", std::to_string(std::labs(hours))});
}

}  // namespace Velmor
