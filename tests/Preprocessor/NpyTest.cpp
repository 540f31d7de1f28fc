#include "Preprocessor/Npy.hpp"

#include <bit>
#include <gtest/gtest.h>
#include <numeric>
#include <string>
#include <vector>

namespace {

using velmor::Npy;
using velmor::NpyByteOrder;

std::string text(std::span<const std::byte> bytes) {
    std::string result;
    for (const std::byte b : bytes) result += static_cast<char>(b);
    return result;
}

TEST(Npy, ImagesByteForByte) {
    ASSERT_EQ(std::endian::native, std::endian::little) << "the payloads below are those of such a host";
    using namespace std::string_literals;
    std::vector<float> cells(24020);
    std::iota(cells.begin(), cells.end(), 1.0F);
    const std::string mel = text(std::as_bytes(std::span(cells)));
    const std::string oneTwo = "\x00\x00\x80\x3f\x00\x00\x00\x40"s;
    struct Row {
        std::vector<std::int64_t> shape;
        NpyByteOrder order;
        bool fortranOrder;
        std::string descr, fortran, shapeText;
        std::string payload;  // of the elements 1.0, 2.0 ...
    };
    const std::vector<Row> rows = {
        {{}, NpyByteOrder::native, false, "=f4", "False", "()", oneTwo.substr(0, 4)},
        {{2}, NpyByteOrder::littleEndian, false, "<f4", "False", "(2,)", oneTwo},
        {{1, 2}, NpyByteOrder::native, true, "=f4", "True", "(1, 2)", oneTwo},
        {{2, 1}, NpyByteOrder::bigEndian, false, ">f4", "False", "(2, 1)", "\x3f\x80\0\0\x40\0\0\0"s},
        {{1, 20, 1201}, NpyByteOrder::native, false, "=f4", "False", "(1, 20, 1201)", mel},
        {{0, 20, 1201}, NpyByteOrder::native, false, "=f4", "False", "(0, 20, 1201)", ""}};
    for (const Row& row : rows) {
        std::vector<float> elements(row.payload.size() / 4);
        std::iota(elements.begin(), elements.end(), 1.0F);
        const std::string image = text(Npy(row.shape, elements, row.order, row.fortranOrder).format());
        const std::string header = "{ 'descr': '" + row.descr + "', 'fortran_order': " + row.fortran +
                                   ", 'shape': " + row.shapeText + ", }";
        EXPECT_EQ(image, "\x93NUMPY\x01\0"s + static_cast<char>(header.size()) + '\0' + header + row.payload);
    }
}

TEST(Npy, LongHeadersHaveFourLengthBytes) {
    std::vector<std::int64_t> shape(21827, 1);  // three bytes each in the header, and 54 around them
    const auto image = [&] {
        return text(
            Npy(shape, std::vector<float>(static_cast<std::size_t>(shape[0])), NpyByteOrder::native, false)
                .format());
    };
    using namespace std::string_literals;
    const std::string shortForm = image();
    EXPECT_EQ(shortForm.substr(6, 5), "\x01\x00\xff\xff{"s);
    EXPECT_EQ(shortForm[9 + 65535], '}');
    shape[0] = 10;
    const std::string longForm = image();
    EXPECT_EQ(longForm.substr(6, 7), "\x02\x00\x00\x00\x01\x00{"s);
    EXPECT_EQ(longForm[11 + 65536], '}');
}

TEST(NpyDeathTest, BrokenPromises) {
    const std::vector<float> two(2);
    const std::int64_t huge = std::int64_t{1} << 62;
    EXPECT_DEATH(Npy({2}, two, NpyByteOrder::notApplicable, false),
                 "Npy.Saver: Fatal error: Invalid byteorder.");
    EXPECT_DEATH(Npy({3}, two, NpyByteOrder::native, false), "Npy.cpp: Fatal error: product");
    EXPECT_DEATH(Npy({huge, 4, 2}, two, NpyByteOrder::native, false), "Npy.cpp: Fatal error: !overflow");
}

}  // namespace
