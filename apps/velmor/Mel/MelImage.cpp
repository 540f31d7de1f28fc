#include "Mel/MelImage.hpp"

#include "Preprocessor/Plain/MelBank.hpp"
#include "Preprocessor/Plain/MelSpectrogram.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <png.h>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace VelmorApp {
namespace {

constexpr std::size_t kBandHeight = 12;
constexpr std::size_t kLeft = 52;
constexpr std::size_t kTop = 8;
constexpr std::size_t kRight = 18;
constexpr std::size_t kBottom = 24;
constexpr std::size_t kPlotHeight = velmor::kMelBands * kBandHeight;
constexpr std::size_t kWidth = kLeft + velmor::kMelFrames + kRight;
constexpr std::size_t kHeight = kTop + kPlotHeight + kBottom;
constexpr float kRange = 60.0F;  // dB
constexpr std::size_t kFramesPerSecond = 40;

struct Colour {
    std::uint8_t red, green, blue;
};
constexpr Colour kPaper{255, 255, 255};
constexpr Colour kInk{40, 40, 48};
// From silence to loud; lightness rises evenly, so the picture survives a grey printer.
constexpr std::array<Colour, 6> kScale{
    {{10, 9, 32}, {56, 20, 92}, {128, 37, 107}, {203, 71, 82}, {245, 145, 55}, {252, 246, 190}}};

// 3 x 5 dots, top row first, the leftmost dot in the highest of three bits.
struct Glyph {
    char letter;
    std::array<std::uint8_t, 5> rows;
};
constexpr std::array<Glyph, 14> kFont{{{'0', {7, 5, 5, 5, 7}},
                                       {'1', {2, 6, 2, 2, 7}},
                                       {'2', {7, 1, 7, 4, 7}},
                                       {'3', {7, 1, 7, 1, 7}},
                                       {'4', {5, 5, 7, 1, 1}},
                                       {'5', {7, 4, 7, 1, 7}},
                                       {'6', {7, 4, 7, 5, 7}},
                                       {'7', {7, 1, 2, 2, 2}},
                                       {'8', {7, 5, 7, 5, 7}},
                                       {'9', {7, 5, 7, 1, 7}},
                                       {'H', {5, 5, 7, 5, 5}},
                                       {'z', {0, 7, 1, 2, 7}},
                                       {'s', {0, 7, 6, 3, 7}},
                                       {' ', {0, 0, 0, 0, 0}}}};
constexpr std::size_t kDot = 2;
constexpr std::size_t kLetterWidth = 4 * kDot;

class Canvas {
  public:
    Canvas() : pixels_(kWidth * kHeight, kPaper) {}

    void dot(std::size_t x, std::size_t y, Colour colour) {
        if (x < kWidth && y < kHeight) pixels_[y * kWidth + x] = colour;
    }
    void box(std::size_t x, std::size_t y, std::size_t width, std::size_t height, Colour colour) {
        for (std::size_t j = 0; j < height; ++j)
            for (std::size_t i = 0; i < width; ++i) dot(x + i, y + j, colour);
    }
    void text(std::size_t x, std::size_t y, std::string_view letters) {
        for (const char letter : letters) {
            draw(x, y, letter);
            x += kLetterWidth;
        }
    }
    const Colour* row(std::size_t y) const { return &pixels_[y * kWidth]; }

  private:
    void draw(std::size_t x, std::size_t y, char letter) {
        const auto* glyph =
            std::find_if(kFont.begin(), kFont.end(), [&](const Glyph& g) { return g.letter == letter; });
        if (glyph == kFont.end()) return;
        for (std::size_t j = 0; j < 5; ++j)
            for (std::size_t i = 0; i < 3; ++i)
                if ((static_cast<unsigned>(glyph->rows[j]) >> (2 - i) & 1U) != 0)
                    box(x + i * kDot, y + j * kDot, kDot, kDot, kInk);
    }

    std::vector<Colour> pixels_;
};

Colour shade(float share) {
    const float place = std::clamp(share, 0.0F, 1.0F) * static_cast<float>(kScale.size() - 1);
    const auto below = std::min(static_cast<std::size_t>(place), kScale.size() - 2);
    const float part = place - static_cast<float>(below);
    const auto mix = [&](std::uint8_t a, std::uint8_t b) {
        return static_cast<std::uint8_t>(
            std::lround(static_cast<float>(a) + part * (static_cast<float>(b) - static_cast<float>(a))));
    };
    const Colour& a = kScale[below];
    const Colour& b = kScale[below + 1];
    return {mix(a.red, b.red), mix(a.green, b.green), mix(a.blue, b.blue)};
}

void drawCells(Canvas& canvas, std::span<const float> cells) {
    const float top = std::max(*std::max_element(cells.begin(), cells.end()), 1e-20F);
    for (std::size_t band = 0; band < velmor::kMelBands; ++band) {
        const std::size_t y = kTop + kPlotHeight - (band + 1) * kBandHeight;
        for (std::size_t frame = 0; frame < velmor::kMelFrames; ++frame) {
            const float value = std::max(cells[band * velmor::kMelFrames + frame], 1e-30F);
            const float below = 10.0F * std::log10(value / top);
            canvas.box(kLeft + frame, y, 1, kBandHeight, shade(1.0F + below / kRange));
        }
    }
}

void drawAxes(Canvas& canvas) {
    for (std::size_t second = 0; second <= 30; second += 5) {
        const std::size_t x = kLeft + second * kFramesPerSecond;
        canvas.box(x, kTop + kPlotHeight, 1, 4, kInk);
        const std::string label = std::to_string(second) + " s";
        canvas.text(x - label.size() * kLetterWidth / 2, kTop + kPlotHeight + 8, label);
    }
    const float top = librosa::internal::hertzToMel(8000);
    for (std::size_t band = 1; band < velmor::kMelBands; band += 6) {
        const float centre = librosa::internal::melToHertz(top * static_cast<float>(band + 1) /
                                                           static_cast<float>(velmor::kMelBands + 1));
        const std::size_t y = kTop + kPlotHeight - band * kBandHeight - kBandHeight / 2;
        const std::string label = std::to_string(std::lround(centre / 10.0F) * 10);
        canvas.box(kLeft - 4, y, 4, 1, kInk);
        canvas.text(kLeft - 8 - label.size() * kLetterWidth, y - 5, label);
    }
    canvas.text(4, kTop + kPlotHeight + 8, "Hz");
}

}  // namespace

// The simplified interface reports errors as a message, where the full one would jump over destructors.
void drawMel(std::span<const float> cells, const std::string& path) {
    Canvas canvas;
    drawCells(canvas, cells);
    drawAxes(canvas);
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = kWidth;
    image.height = kHeight;
    image.format = PNG_FORMAT_RGB;
    static_assert(sizeof(Colour) == 3);
    if (png_image_write_to_file(&image, path.c_str(), 0, canvas.row(0), 0, nullptr) == 0)
        throw std::runtime_error(path + ": " + image.message);
}

}  // namespace VelmorApp
