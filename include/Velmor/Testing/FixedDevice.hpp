/// A device whose facts, time zone and random bytes are the same in every run.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <string>

#include <Velmor/Platform/Device.hpp>

namespace Velmor::Testing {

/// Any thread. Its random bytes depend on the seed and on what was asked before, and can be guessed: for
/// tests and replays only.
class FixedDevice : public Device {
  public:
    static DeviceFacts usualFacts();  ///< "TestOS" "1.0" on "test1,1", bundle "TestHost"

    explicit FixedDevice(DeviceFacts facts = usualFacts(), std::uint64_t seed = 1);

    /// `utcOffset` is positive east of Greenwich. UTC at first.
    void setTimeZone(std::string name, std::chrono::seconds utcOffset);
    void setFacts(DeviceFacts facts);
    void setLanguage(std::string language);  ///< "en" at first

    DeviceFacts facts() const override;
    std::string timeZone() const override;
    std::string language() const override;
    std::tm localTime(WallTime time) const override;
    void fillRandom(std::span<std::byte> bytes) const override;

  private:
    mutable std::mutex mutex_;  // guards all below
    DeviceFacts facts_;
    std::string zone_ = "UTC";
    std::string language_ = "en";
    std::chrono::seconds utcOffset_{0};
    mutable std::uint64_t random_;
};

}  // namespace Velmor::Testing
