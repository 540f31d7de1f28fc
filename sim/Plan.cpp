#include "Plan.hpp"

#include "Kinds.hpp"
#include "Random.hpp"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace Velmor::Nights {
namespace {

using std::chrono::milliseconds;

constexpr std::int64_t kStart = 10'000;   // when recording begins
constexpr std::int64_t kPeriod = 30'000;  // of a chunk

std::int64_t drawLength(Random& random) {
    static constexpr std::array<std::int64_t, 20> kLengths{
        0,      1,      400,    999,    1'000,  1'999,  2'000,  2'001,   9'999,     29'999,
        30'000, 30'001, 31'000, 59'999, 60'000, 60'001, 90'000, 300'000, 1'200'000, 3'600'000};
    return random.chance(50) ? random.of(kLengths) : random.below(45'000);
}

const Kind& drawKind(Random& random) {
    std::int64_t sum = 0;
    for (const auto& kind : kinds()) sum += kind.weight;
    auto left = random.below(sum);
    for (const auto& kind : kinds())
        if ((left -= kind.weight) < 0) return kind;
    return kinds().front();
}

}  // namespace

Plan draw(std::uint64_t seed, std::chrono::minutes length, bool audio) {
    Random random(seed);
    Plan plan{seed, audio, length, {}};
    const auto end = milliseconds(length).count();
    const auto count = random.chance(10) ? 0 : 1 + random.below(random.chance(50) ? 6 : 36);
    std::int64_t at = 0;
    for (std::int64_t i = 0; i < count; ++i) {
        const bool soon = i > 0 && random.chance(40);
        at = soon ? at + random.below(random.chance(50) ? 3'000 : 90'000) : random.below(end);
        Fault fault{milliseconds(at), &drawKind(random), drawLength(random), random.below(10'000)};
        if (random.chance(15)) {  // ends where a chunk does, or a frame beside it
            const auto left = kPeriod - ((at - kStart) % kPeriod + kPeriod) % kPeriod;
            fault.length = std::max<std::int64_t>(0, left + random.below(3) - 1);
        }
        plan.faults.push_back(fault);
    }
    std::stable_sort(plan.faults.begin(), plan.faults.end(),
                     [](const Fault& a, const Fault& b) { return a.at < b.at; });
    return plan;
}

std::string text(const Plan& plan) {
    std::ostringstream out;
    out << plan.seed << (plan.audio ? " audio " : " state ") << plan.length.count();
    for (const auto& fault : plan.faults)
        out << "; " << fault.at.count() << ' ' << fault.kind->name << ' ' << fault.length << ' '
            << fault.variant;
    return out.str();
}

Plan parse(std::string_view text) {
    std::istringstream in{std::string(text)};
    Plan plan;
    std::string part;
    std::string mode;
    std::int64_t minutes = 0;
    std::getline(in, part, ';');
    std::istringstream head(part);
    if (!(head >> plan.seed >> mode >> minutes))
        throw std::runtime_error("a night is SEED MODE MINUTES; ...");
    plan.audio = mode == "audio";
    plan.length = std::chrono::minutes(minutes);
    while (std::getline(in, part, ';')) {
        std::istringstream fields(part);
        std::int64_t at = 0;
        std::string name;
        Fault fault{};
        if (!(fields >> at >> name >> fault.length >> fault.variant))
            throw std::runtime_error("a fault is MILLISECONDS KIND LENGTH VARIANT, not" + part);
        const auto all = kinds();
        const auto kind = std::find_if(all.begin(), all.end(), [&](const Kind& k) { return name == k.name; });
        if (kind == all.end()) throw std::runtime_error("no kind of fault is called " + name);
        fault.at = milliseconds(at);
        fault.kind = &*kind;
        plan.faults.push_back(fault);
    }
    return plan;
}

}  // namespace Velmor::Nights
