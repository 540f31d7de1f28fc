#include "Preprocessor/PreprocessorError.hpp"

#include <array>
#include <utility>

namespace Velmor {
namespace {

std::string textOf(const std::exception_ptr& error) {
    if (!error) return "unknown error";
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& e) {
        return e.what();
    } catch (...) {
        return "unknown error";
    }
}

std::string describe(const PreprocessorError::Case& value) {
    constexpr std::array<const char*, 8> names = {"pcmFormat",   "system",         "melFormat",
                                                  "channelData", "noiseReduction", "convertMel",
                                                  "arrayLength", "melFile"};
    static_assert(names.size() == std::variant_size_v<PreprocessorError::Case>);
    std::string name = names.at(value.index());
    if (const auto* format = std::get_if<PreprocessorError::pcmFormat>(&value))
        return name.append(": ").append(format->description);
    if (const auto* system = std::get_if<PreprocessorError::system>(&value))
        return name.append(": ").append(textOf(system->error));
    return name;
}

}  // namespace

PreprocessorError::PreprocessorError(Case what) : case_(std::move(what)), description_(describe(case_)) {}

const char* PreprocessorError::what() const noexcept {
    return description_.c_str();
}

}  // namespace Velmor
