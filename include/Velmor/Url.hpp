/// An absolute http or https URL as a value. It keeps the text that it was made from: nothing is normalised,
/// so that an application's own base URL reaches the wire as it was given.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <Velmor/Export.hpp>

namespace Velmor {

class VELMOR_API Url {
  public:
    /// An absolute http(s) URL: a scheme, a host, an optional port, path and query, without user information,
    /// blanks or control characters. Throws PlatformError, kind `badRequest`, for any other text; its message
    /// quotes the text.
    static Url parse(std::string_view text);
    /// None where `parse` throws.
    static std::optional<Url> tryParse(std::string_view text);

    const std::string& absoluteString() const noexcept { return text_; }
    std::string scheme() const;  ///< lower case, "http" or "https"
    std::string host() const;    ///< without the brackets of an IPv6 address
    std::optional<std::uint16_t> port() const;
    std::string path() const;  ///< still percent-encoded; empty or starting with a slash
    /// Scheme, host and port as written, without a slash at the end.
    std::string origin() const;
    bool isLoopback() const;  ///< "localhost", 127.0.0.0/8 or ::1

    /// This URL with another path, and its query and fragment as they are; `path` starts with a slash.
    Url replacingPath(std::string_view path) const;
    /// `pathAndQuery`, already percent-encoded and without a leading slash, appended: its path goes behind
    /// this URL's path, its parameters behind this URL's query. A fragment is dropped, since no server sees
    /// one.
    Url appending(std::string_view pathAndQuery) const;

    bool operator==(const Url&) const = default;

  private:
    explicit Url(std::string text) : text_(std::move(text)) {}
    std::string text_;
};

}  // namespace Velmor
