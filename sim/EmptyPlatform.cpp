#include "EmptyPlatform.hpp"

#include <Velmor/Testing.hpp>

namespace Velmor::Nights {
namespace {

class Nothing : public Testing::AudioSource {
  public:
    std::size_t read(std::uint64_t, std::span<float> out) override { return out.size(); }
};

}  // namespace

const Platform& emptyPlatform() {
    static const Platform* const platform = [] {
        auto* made = new Platform;
        const auto clock = std::make_shared<Testing::VirtualClock>();
        const auto loop = std::make_shared<Testing::ManualExecutor>(clock);
        made->clock = clock;
        made->mainLoop = made->tasks = made->background = loop;
        made->http = std::make_shared<Testing::ScriptedTransport>(loop);
        made->audio = std::make_shared<Testing::VirtualMicrophone>(loop, clock, std::make_shared<Nothing>());
        made->files = std::make_shared<Testing::MemoryFiles>();
        made->device = std::make_shared<Testing::FixedDevice>();
        made->console = [](std::string_view) {};
        return made;
    }();
    return *platform;
}

}  // namespace Velmor::Nights
