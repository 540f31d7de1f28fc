// A method and the part of a URL behind the base: readable for logs and errors, encoded for the wire.
#pragma once

#include <string>
#include <string_view>

#include <Velmor/Url.hpp>

namespace Velmor {

/// Built from left to right: `Endpoint("POST", "ai/v1/sessions/").id(sessionId).text("/close")`.
class Endpoint {
  public:
    /// `text` goes to the wire as it is.
    Endpoint(const char* method, std::string_view text);

    Endpoint& text(std::string_view text) &;
    /// One path segment, whatever it holds: everything but unreserved characters is percent-encoded. An id
    /// that is empty, "." or "..", or holds control characters would name another resource or none; `url`
    /// refuses it.
    Endpoint& id(std::string_view id) &;
    /// Encoded with the characters that a query may hold left as they are.
    Endpoint& query(std::string_view text) &;

    Endpoint&& text(std::string_view text) && { return std::move(this->text(text)); }
    Endpoint&& id(std::string_view id) && { return std::move(this->id(id)); }
    Endpoint&& query(std::string_view text) && { return std::move(this->query(text)); }

    const char* method() const { return method_; }
    const std::string& readable() const { return readable_; }

    /// When an id was refused, throws PlatformError, kind `badRequest`, which says what is wrong with the id.
    /// A path with a query is looked at as a whole: for it that is VelmorError, case `responseResult` with
    /// the readable path and query.
    Url url(const Url& base) const;

  private:
    const char* method_;
    std::string readable_;
    std::string encoded_;
    std::string fault_;  ///< of the first refused id
    bool hasQuery_ = false;
};

}  // namespace Velmor
