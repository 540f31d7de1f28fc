// The body of a form that carries files. Byte layout: docs/wire.md.
#pragma once

#include <string>
#include <string_view>

#include <Velmor/Platform/Device.hpp>
#include <Velmor/Platform/Http.hpp>

namespace Velmor {

/// What can be filled with files and sent.
class MultiPartForm {
  public:
    virtual ~MultiPartForm() = default;
    /// `contentType` may be empty; its line is there all the same. Names hold neither quotes nor line ends.
    virtual void addFile(std::string_view fieldName, std::string_view fileName, std::string_view bytes,
                         std::string_view contentType) = 0;
    /// Completes `prepared`: method, "Content-Type" and body. The form is used up.
    virtual HttpRequest makeRequest(HttpRequest prepared) = 0;
};

class MultipartFormDataRequest : public MultiPartForm {
  public:
    /// With a boundary of its own: a random UUID in upper case.
    MultipartFormDataRequest(Url url, const Device& device);

    const std::string& boundary() const { return boundary_; }
    const Url& url() const { return url_; }

    void addFile(std::string_view fieldName, std::string_view fileName, std::string_view bytes,
                 std::string_view contentType) override;
    HttpRequest makeRequest(HttpRequest prepared) override;

  private:
    std::string boundary_;
    std::string httpBody_;
    Url url_;
};

}  // namespace Velmor
