// Scripts of faults and of what hosts do, for short simulated nights; the simulator's ledger is the judge.
#include "Input.hpp"
#include "Night.hpp"

namespace Velmor::Fuzz {

void run(Input input) {
    const auto all = Nights::kinds();
    Nights::Plan plan;
    plan.seed = static_cast<std::uint64_t>(input.number(1));
    plan.length = std::chrono::minutes(8 + input.number(1) % 16);
    std::chrono::milliseconds at{10'000};
    while (!input.empty() && plan.faults.size() < 24) {
        const auto& kind = all[static_cast<std::size_t>(input.number(1)) % all.size()];
        at += std::chrono::milliseconds(1 + 4 * input.number(2));
        const auto length = input.number(2);
        const Nights::Fault fault{at, &kind, length, input.number(2) % 10'000};
        if (kind.weight > 0) plan.faults.push_back(fault);  // the others are for sweeps alone
    }
    const auto outcome = Nights::Night(plan, false).run();
    if (!outcome.violations.empty()) require(false, outcome.violations.front().c_str(), text(plan));
}

}  // namespace Velmor::Fuzz
