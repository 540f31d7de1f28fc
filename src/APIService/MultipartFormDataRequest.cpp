#include "APIService/MultipartFormDataRequest.hpp"

#include "APIService/Requests.hpp"

#include <array>
#include <cstddef>
#include <utility>

namespace Velmor {
namespace {

/// Version 4 of the UUIDs, for instance "9B2E1D4C-0F5A-4C3B-8E6D-1A2B3C4D5E6F".
std::string randomUuid(const Device& device) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::array<std::byte, 16> bytes{};
    device.fillRandom(bytes);
    bytes[6] = (bytes[6] & std::byte{0x0F}) | std::byte{0x40};
    bytes[8] = (bytes[8] & std::byte{0x3F}) | std::byte{0x80};
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += kDigits[std::to_integer<std::size_t>(bytes[i] >> 4)];
        text += kDigits[std::to_integer<std::size_t>(bytes[i] & std::byte{0x0F})];
    }
    return text;
}

}  // namespace

MultipartFormDataRequest::MultipartFormDataRequest(Url url, const Device& device)
    : boundary_(randomUuid(device)), url_(std::move(url)) {}

void MultipartFormDataRequest::addFile(std::string_view fieldName, std::string_view fileName,
                                       std::string_view bytes, std::string_view contentType) {
    constexpr std::size_t kRoomForHeaders = 512;
    httpBody_.reserve(httpBody_.size() + bytes.size() + kRoomForHeaders);
    httpBody_.append("--").append(boundary_).append("\r\n");
    httpBody_.append("Content-Disposition: form-data; name=\"").append(fieldName);
    httpBody_.append("\"; filename=\"").append(fileName).append("\"\r\n");
    httpBody_.append("Content-Type: ").append(contentType).append("\r\n\r\n");
    httpBody_.append(bytes).append("\r\n");
}

HttpRequest MultipartFormDataRequest::makeRequest(HttpRequest prepared) {
    prepared.method = "POST";
    prepared.url = url_;
    setHeader(prepared.headers, "Content-Type", "multipart/form-data; boundary=" + boundary_);
    prepared.body = std::move(httpBody_);
    // No line end follows: servers expect exactly this.
    prepared.body.append("--").append(boundary_).append("--");
    return prepared;
}

}  // namespace Velmor
