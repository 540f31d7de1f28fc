#include "service/Http/Router.hpp"

#include <algorithm>
#include <utility>

namespace VelmorService {

namespace {

bool fits(const std::vector<std::string>& pattern, const std::vector<std::string>& path) {
    return std::ranges::equal(pattern, path, [](const std::string& wanted, const std::string& segment) {
        return wanted == "*" ? !segment.empty() : wanted == segment;
    });
}

}  // namespace

void Router::add(std::string method, std::string_view pattern, Handler handler) {
    Route route{std::move(method), {""}, std::move(handler)};
    for (const char c : pattern) {
        if (c == '/') {
            route.pattern.emplace_back();
        } else {
            route.pattern.back() += c;
        }
    }
    routes_.push_back(std::move(route));
}

Response Router::answer(const Request& request) const {
    const std::string method = request.raw.method == "HEAD" ? "GET" : request.raw.method;
    bool pathKnown = false;
    for (const auto& route : routes_) {
        if (!fits(route.pattern, request.path)) {
            continue;
        }
        pathKnown = true;
        if (route.method == method) {
            return route.handler(request);
        }
    }
    if (pathKnown) {
        throw ApiError(405, ErrorCode::kNoSuchPath, "this path does not take " + request.raw.method);
    }
    throw ApiError(404, ErrorCode::kNoSuchPath, "there is nothing at this path");
}

}  // namespace VelmorService
