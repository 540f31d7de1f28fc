// What of a recording may be replaced, for simulations of thousands of nights.
#pragma once

#include <functional>
#include <string>

namespace Velmor {

/// What becomes of the samples between the microphone and the chunk files. Counted ones cost nothing: times,
/// numbers and lengths are as ever, and what comes out is silence.
enum class Samples { carried, counted };

struct CaptureParts {
    /// Converts the chunk file at a path into a mel spectrogram file and returns that file's path; throws.
    using Convert = std::function<std::string(const std::string& chunkPath)>;

    Convert convert = {};  ///< empty for the preprocessor
    Samples samples = Samples::carried;
};

}  // namespace Velmor
