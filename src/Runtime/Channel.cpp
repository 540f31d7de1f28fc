#include "Runtime/Channel.hpp"

namespace Velmor {

Subscription Observers::add(Tell tell) {
    const auto observer = std::make_shared<Observer>(std::move(tell));
    std::shared_ptr<const List> former;  // outlives the lock, as ended observers may own anything
    const Lock lock(mutex_);
    auto next = std::make_shared<List>();
    for (const auto& earlier : *list_)
        if (earlier->active.load(std::memory_order_acquire)) next->push_back(earlier);
    next->push_back(observer);
    former = std::exchange(list_, std::move(next));
    return Subscription({observer, &observer->active});
}

void Observers::tellAll(const void* value) const {
    const auto list = snapshot();  // observers may replace the current one
    for (const auto& observer : *list)
        if (observer->active.load(std::memory_order_acquire)) observer->tell(value);
}

std::shared_ptr<const Observers::List> Observers::snapshot() const {
    const Lock lock(mutex_);
    return list_;
}

}  // namespace Velmor
