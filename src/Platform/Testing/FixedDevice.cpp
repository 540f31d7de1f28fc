#include <utility>

#include <Velmor/Testing/FixedDevice.hpp>

namespace Velmor::Testing {
namespace {

// SplitMix64 (Steele, Lea and Flood, 2014): a counter through a mixing function, so every seed is good.
std::uint64_t nextRandom(std::uint64_t& state) {
    state += 0x9e3779b97f4a7c15U;
    std::uint64_t mixed = state;
    mixed = (mixed ^ (mixed >> 30U)) * 0xbf58476d1ce4e5b9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94d049bb133111ebU;
    return mixed ^ (mixed >> 31U);
}

}  // namespace

DeviceFacts FixedDevice::usualFacts() {
    return {"TestOS", "1.0", "test1,1", "TestHost"};
}

FixedDevice::FixedDevice(DeviceFacts facts, std::uint64_t seed) : facts_(std::move(facts)), random_(seed) {}

void FixedDevice::setTimeZone(std::string name, std::chrono::seconds utcOffset) {
    const std::lock_guard lock(mutex_);
    zone_ = std::move(name);
    utcOffset_ = utcOffset;
}

void FixedDevice::setFacts(DeviceFacts facts) {
    const std::lock_guard lock(mutex_);
    facts_ = std::move(facts);
}

void FixedDevice::setLanguage(std::string language) {
    const std::lock_guard lock(mutex_);
    language_ = std::move(language);
}

DeviceFacts FixedDevice::facts() const {
    const std::lock_guard lock(mutex_);
    return facts_;
}

std::string FixedDevice::timeZone() const {
    const std::lock_guard lock(mutex_);
    return zone_;
}

std::string FixedDevice::language() const {
    const std::lock_guard lock(mutex_);
    return language_;
}

std::tm FixedDevice::localTime(WallTime time) const {
    const std::lock_guard lock(mutex_);
    const auto shifted = std::chrono::floor<std::chrono::seconds>(time.time_since_epoch()) + utcOffset_;
    const auto seconds = static_cast<std::time_t>(shifted.count());
    std::tm fields{};
    gmtime_r(&seconds, &fields);
    fields.tm_gmtoff = utcOffset_.count();
    return fields;
}

void FixedDevice::fillRandom(std::span<std::byte> bytes) const {
    const std::lock_guard lock(mutex_);
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bits = i % 8 == 0 ? nextRandom(random_) : bits >> 8U;
        bytes[i] = static_cast<std::byte>(bits & 0xffU);
    }
}

}  // namespace Velmor::Testing
