#pragma once

// Writer of NumPy `.npy` images of 32-bit floats, built whole in memory; docs/npy-format.md shows the layout.
// The header deliberately has no padding and no line end. There is no reader.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace velmor {

enum class NpyByteOrder : std::uint8_t {
    native = 0,         ///< "=", bytes as they are in memory
    bigEndian = 1,      ///< ">", the four bytes of each element reversed
    littleEndian = 2,   ///< "<", copied unchanged
    notApplicable = 3,  ///< "|", no order; a fatal error for a payload
};

enum class NpyDataType : std::uint8_t { b1, u1, u2, u4, u8, i1, i2, i4, i8, f4, f8 };

/// "=", ">", "<" or "|".
const char* code(NpyByteOrder order);
/// "b1" to "f8".
const char* code(NpyDataType type);

/// One array, immutable. Any thread.
class Npy {
  public:
    /// The product of the shape (1 for an empty one) must be the number of elements; anything else, or a
    /// product that overflows, ends the process. `fortranOrder` only changes the header: elements are never
    /// reordered.
    Npy(std::vector<std::int64_t> shape, std::span<const float> elements, NpyByteOrder byteOrder,
        bool fortranOrder);

    /// The whole file: magic, version, header length, header, payload.
    std::vector<std::byte> format() const;

  private:
    std::string header() const;

    std::vector<std::int64_t> shape_;
    NpyDataType dataType_ = NpyDataType::f4;
    NpyByteOrder byteOrder_;
    bool fortranOrder_;
    std::string descr_;               // with its quotes: '=f4'
    std::vector<std::byte> payload_;  // in that byte order
};

}  // namespace velmor
