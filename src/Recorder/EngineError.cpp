#include "Recorder/EngineError.hpp"

#include "Runtime/Text.hpp"

#include <array>
#include <charconv>
#include <cmath>
#include <optional>

namespace Velmor {
namespace {

std::optional<PlatformError::Kind> kindOf(const std::exception_ptr& failure) {
    if (!failure) return {};
    try {
        std::rethrow_exception(failure);
    } catch (const PlatformError& error) {
        return error.kind();
    } catch (...) {
        return {};
    }
}

// "44100.0": the shortest text that reads back the same, with a fraction.
std::string decimal(double value) {
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    std::string digits(text.data(), end);
    if (std::isfinite(value) && digits.find_first_of(".e") == std::string::npos) digits += ".0";
    return digits;
}

}  // namespace

bool isBackgroundActivation(const std::exception_ptr& failure) {
    return kindOf(failure) == PlatformError::Kind::backgroundActivation;
}

VelmorError engineError(const std::exception_ptr& failure, bool ranBefore) {
    if (kindOf(failure) == PlatformError::Kind::audioUnavailable)
        return VelmorError::audioInitializationFailed{};
    if (!isBackgroundActivation(failure)) return VelmorError::unknown{failure};
    if (ranBefore) return VelmorError::shouldResume{};
    return VelmorError::cannotActivateInBackground{};
}

std::string formatErrorLine(const AudioFormat& format) {
    return joined({"setupEngine FORMAT-ERROR sampleRate: ", decimal(format.sampleRate),
                   ", channelCount: ", std::to_string(format.channelCount)});
}

}  // namespace Velmor
