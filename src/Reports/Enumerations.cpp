#include <array>
#include <utility>

#include <Velmor/Model.hpp>

namespace Velmor::Model {
namespace {

// In the order of the cases.
constexpr std::array<std::string_view, 3> kStates{"OPEN", "CLOSED", "COMPLETE"};
constexpr std::array<std::string_view, 7> kPeculiarities{"IN_PROGRESS",
                                                         "NEVER_SLEPT",
                                                         "TOO_SHORT_FOR_ANALYSIS",
                                                         "TOO_LONG_FOR_ANALYSIS",
                                                         "TOO_MANY_DEFECTS_IN_SLEEP_STAGES",
                                                         "NO_BREATHING_STABILITY",
                                                         "NO_REALTIME_POLLING"};
constexpr std::array<std::string_view, 4> kBreathingPatterns{
    "STABLE_BREATH", "MILDLY_UNSTABLE_BREATH", "MODERATELY_UNSTABLE_BREATH", "SEVERELY_UNSTABLE_BREATH"};
constexpr std::array<std::string_view, 2> kOrders{"ASC", "DESC"};

template <class Enumeration, std::size_t count>
std::string_view nameOf(const std::array<std::string_view, count>& names, Enumeration value) {
    const auto index = static_cast<std::size_t>(value);
    return index < count ? names[index] : std::string_view{};
}

template <class Enumeration, std::size_t count>
std::optional<Enumeration> caseOf(const std::array<std::string_view, count>& names, std::string_view text) {
    for (std::size_t i = 0; i < count; ++i)
        if (names[i] == text) return static_cast<Enumeration>(i);
    return {};
}

}  // namespace

std::string_view rawValue(State state) {
    return nameOf(kStates, state);
}

std::string_view rawValue(Peculiarity peculiarity) {
    return nameOf(kPeculiarities, peculiarity);
}

std::string_view rawValue(BreathingPattern pattern) {
    return nameOf(kBreathingPatterns, pattern);
}

std::string_view rawValue(OrderBy order) {
    return nameOf(kOrders, order);
}

template <>
std::optional<State> fromRawValue(std::string_view text) {
    return caseOf<State>(kStates, text);
}

template <>
std::optional<Peculiarity> fromRawValue(std::string_view text) {
    return caseOf<Peculiarity>(kPeculiarities, text);
}

template <>
std::optional<BreathingPattern> fromRawValue(std::string_view text) {
    return caseOf<BreathingPattern>(kBreathingPatterns, text);
}

template <>
std::optional<OrderBy> fromRawValue(std::string_view text) {
    return caseOf<OrderBy>(kOrders, text);
}

}  // namespace Velmor::Model
