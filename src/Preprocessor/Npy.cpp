#include "Preprocessor/Npy.hpp"

#include "Preprocessor/Assert.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <string_view>

namespace velmor {
namespace {

constexpr std::string_view kMagic = "\x93NUMPY";
constexpr std::size_t kElementBytes = sizeof(float);

std::int64_t product(const std::vector<std::int64_t>& shape) {
    std::int64_t result = 1;
    for (const std::int64_t extent : shape) {
        const bool overflow = __builtin_mul_overflow(result, extent, &result);
        VELMOR_ASSERT(!overflow);
    }
    return result;
}

std::vector<std::byte> payloadOf(std::span<const float> elements, NpyByteOrder order) {
    if (order == NpyByteOrder::notApplicable) Velmor::Detail::fatalError("Npy.Saver", "Invalid byteorder.");
    const std::span<const std::byte> bytes = std::as_bytes(elements);
    std::vector<std::byte> payload(bytes.begin(), bytes.end());
    if (order == NpyByteOrder::bigEndian)
        for (std::size_t i = 0; i < payload.size(); i += kElementBytes)
            std::reverse(&payload[i], &payload[i] + kElementBytes);
    return payload;
}

std::string shapeText(const std::vector<std::int64_t>& shape) {
    std::string text = "(";
    for (std::size_t i = 0; i < shape.size(); ++i)
        text.append(i > 0 ? ", " : "").append(std::to_string(shape[i]));
    return text += shape.size() == 1 ? ",)" : ")";
}

std::string littleEndian(std::uint32_t value, std::size_t bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i) & 255U);
    return text;
}

}  // namespace

const char* code(NpyByteOrder order) {
    constexpr std::array<const char*, 4> codes = {"=", ">", "<", "|"};
    return codes.at(static_cast<std::size_t>(order));
}

const char* code(NpyDataType type) {
    constexpr std::array<const char*, 11> codes = {"b1", "u1", "u2", "u4", "u8", "i1",
                                                   "i2", "i4", "i8", "f4", "f8"};
    return codes.at(static_cast<std::size_t>(type));
}

Npy::Npy(std::vector<std::int64_t> shape, std::span<const float> elements, NpyByteOrder byteOrder,
         bool fortranOrder)
    : shape_(std::move(shape)), byteOrder_(byteOrder), fortranOrder_(fortranOrder) {
    VELMOR_ASSERT(product(shape_) == static_cast<std::int64_t>(elements.size()));
    descr_.append("'").append(code(byteOrder_)).append(code(dataType_)).append("'");
    payload_ = payloadOf(elements, byteOrder_);
}

std::string Npy::header() const {
    std::string text("{ 'descr': ");
    text.append(descr_).append(", 'fortran_order': ").append(fortranOrder_ ? "True" : "False");
    return text.append(", 'shape': ").append(shapeText(shape_)).append(", }");
}

std::vector<std::byte> Npy::format() const {
    const std::string text = header();
    VELMOR_ASSERT(text.size() <= std::numeric_limits<std::uint32_t>::max());
    const auto length = static_cast<std::uint32_t>(text.size());
    const bool isShort = length <= std::numeric_limits<std::uint16_t>::max();
    std::string head(kMagic);
    head.append(isShort ? "\1" : "\2").push_back('\0');
    head.append(littleEndian(length, isShort ? 2 : 4)).append(text);
    std::vector<std::byte> image(head.size() + payload_.size());
    std::memcpy(image.data(), head.data(), head.size());
    std::copy(payload_.begin(), payload_.end(), image.begin() + static_cast<std::ptrdiff_t>(head.size()));
    return image;
}

}  // namespace velmor
