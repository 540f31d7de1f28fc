// A platform of doubles around one manual executor.
#pragma once

#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <Velmor/Platform.hpp>
#include <Velmor/Testing.hpp>

namespace Velmor {

/// Of the service in all tests.
inline const std::string kBaseUrl = "http://localhost/base";

/// Method and place of a request, without the service's base.
inline std::string placeOf(const HttpRequest& request) {
    const auto& url = request.url.absoluteString();
    return request.method + " " + (url.starts_with(kBaseUrl + "/") ? url.substr(kBaseUrl.size() + 1) : url);
}

class Hum : public Testing::AudioSource {
  public:
    std::size_t read(std::uint64_t, std::span<float> out) override {
        std::fill(out.begin(), out.end(), 0.25F);
        return out.size();
    }
};

struct World {
    /// The place of each request so far.
    std::vector<std::string> sent() const {
        std::vector<std::string> places;
        for (const auto& request : http->requests()) places.push_back(placeOf(request));
        return places;
    }

    std::shared_ptr<Testing::VirtualClock> clock = std::make_shared<Testing::VirtualClock>();
    std::shared_ptr<Testing::ManualExecutor> executor = std::make_shared<Testing::ManualExecutor>(clock);
    std::shared_ptr<Testing::ScriptedTransport> http = std::make_shared<Testing::ScriptedTransport>(executor);
    std::shared_ptr<Testing::MemoryFiles> files = std::make_shared<Testing::MemoryFiles>();
    std::shared_ptr<Testing::FixedDevice> device = std::make_shared<Testing::FixedDevice>();
    std::shared_ptr<Platform> platform = std::make_shared<Platform>(Platform{
        clock, executor, executor, executor, http, {}, files, device, {}, Url::parse("https://logs.test")});
};

}  // namespace Velmor
