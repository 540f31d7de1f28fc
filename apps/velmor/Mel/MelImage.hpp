// The picture of one mel spectrogram.
#pragma once

#include <span>
#include <string>

namespace VelmorApp {

/// Draws 20 x 1201 power values (bands outermost) as a PNG file: time to the right, frequency upwards, 60 dB
/// down from the loudest cell. Throws std::runtime_error that names the file.
void drawMel(std::span<const float> cells, const std::string& path);

}  // namespace VelmorApp
