#pragma once

// A dense row-major matrix that owns its cells: cell (row, column) is data()[row * columns() + column].

#include "Preprocessor/Assert.hpp"

#include <cstddef>
#include <span>
#include <vector>

namespace velmor {

template <class T>
class Matrix {
  public:
    Matrix() = default;
    Matrix(std::size_t rows, std::size_t columns, T value = T{})
        : rows_(rows), columns_(columns), cells_(rows * columns, value) {}
    /// Takes the cells over; there must be rows x columns of them.
    Matrix(std::size_t rows, std::size_t columns, std::vector<T> cells)
        : rows_(rows), columns_(columns), cells_(std::move(cells)) {
        VELMOR_ASSERT(cells_.size() == rows_ * columns_);
    }

    std::size_t rows() const { return rows_; }
    std::size_t columns() const { return columns_; }
    std::size_t size() const { return cells_.size(); }
    T& operator()(std::size_t row, std::size_t column) { return cells_[row * columns_ + column]; }
    const T& operator()(std::size_t row, std::size_t column) const { return cells_[row * columns_ + column]; }
    std::span<T> row(std::size_t row) { return std::span<T>(cells_).subspan(row * columns_, columns_); }
    std::span<const T> row(std::size_t row) const {
        return std::span<const T>(cells_).subspan(row * columns_, columns_);
    }
    std::span<T> cells() { return cells_; }
    std::span<const T> cells() const { return cells_; }

    Matrix transposed() const {
        Matrix result(columns_, rows_);
        for (std::size_t r = 0; r < rows_; ++r)
            for (std::size_t c = 0; c < columns_; ++c) result(c, r) = (*this)(r, c);
        return result;
    }

    friend bool operator==(const Matrix&, const Matrix&) = default;

  private:
    std::size_t rows_ = 0;
    std::size_t columns_ = 0;
    std::vector<T> cells_;
};

/// A matrix of yes and no, one byte a cell (std::vector<bool> cannot be viewed as a span).
using Mask = Matrix<unsigned char>;

}  // namespace velmor
