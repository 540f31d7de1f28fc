#include "Runtime/Channel.hpp"

namespace Velmor {

Subscription Observers::add(Tell tell) {
    auto active = std::make_shared<std::atomic<bool>>(true);
    std::shared_ptr<const List> former;  // outlives the lock, as ended observers may own anything
    const Lock lock(mutex_);
    auto next = std::make_shared<List>();
    for (const auto& entry : *list_)
        if (entry.active->load(std::memory_order_acquire)) next->push_back(entry);
    next->push_back({active, std::make_shared<Tell>(std::move(tell))});
    former = std::exchange(list_, std::move(next));
    return Subscription(std::move(active));
}

void Observers::tellAll(const void* value) const {
    const auto list = snapshot();  // observers may replace the current one
    for (const auto& entry : *list)
        if (entry.active->load(std::memory_order_acquire)) (*entry.tell)(value);
}

std::shared_ptr<const Observers::List> Observers::snapshot() const {
    const Lock lock(mutex_);
    return list_;
}

}  // namespace Velmor
