// The components of a recording that its maker may replace, as a simulation of thousands of nights does.
#pragma once

#include "Recorder/Resampler.hpp"
#include "Recorder/SampleRing.hpp"

#include <functional>
#include <memory>
#include <string>

namespace Velmor {

struct CaptureParts {
    /// Converts the chunk file at a path into a mel spectrogram file and returns that file's path; throws.
    using Convert = std::function<std::string(const std::string& chunkPath)>;

    Convert convert = {};                                            ///< empty for the preprocessor
    std::function<std::unique_ptr<SampleBuffer>()> makeBuffer = {};  ///< empty for a SampleRing
    std::function<std::unique_ptr<Resampler>()> makeResampler = {};  ///< empty for a FilteringResampler
};

}  // namespace Velmor
