#pragma once

#include "service/Http/Message.hpp"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace VelmorService {

/// Finds the handler of a method and a path pattern such as "ai/v1/sessions/*/close". A star stands for one
/// segment that is not empty; what it matched is at the same place of `Request::path`.
class Router {
  public:
    using Handler = std::function<Response(const Request&)>;

    void add(std::string method, std::string_view pattern, Handler handler);
    /// Throws ApiError 404 when no pattern fits, 405 when one fits with another method, and whatever the
    /// handler throws. HEAD is answered as GET.
    Response answer(const Request& request) const;

  private:
    struct Route {
        std::string method;
        std::vector<std::string> pattern;
        Handler handler;
    };
    std::vector<Route> routes_;
};

}  // namespace VelmorService
