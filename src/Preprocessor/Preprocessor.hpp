#pragma once

// A finished 30-second chunk to the mel file that is uploaded: read and check, reduce noise, mel spectrogram,
// .npy. The recording service calls it once for every chunk.

#include "Preprocessor/ChunkStore.hpp"
#include "Preprocessor/ConverterWrapper.hpp"
#include "Preprocessor/PreprocessorError.hpp"

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace Velmor {

/// The whole `.npy` file of samples (mono, 16 kHz), of shape (1, 20, 1201) for a chunk of 480,000. More
/// chunks give an empty array, none throws `noiseReduction`, any other count `arrayLength`; without memory
/// for one of the two steps it throws `noiseReduction` or `convertMel`. Any thread.
std::vector<std::byte> melFileImage(const velmor::ConverterWrapper& converter,
                                    std::span<const float> samples);

/// Synchronous, on the caller's thread; calls from several threads are independent. Everything thrown is a
/// PreprocessorError, and a conversion that throws has written nothing.
class Preprocessor {
  public:
    /// The process's, made when it is first asked for, on whatever thread, and never destroyed, since a
    /// recording may end while the process exits. All recordings use it, and so one work space.
    static const Preprocessor& shared();

    /// Converts the chunk file at `from` and returns the location of the mel file: "result-", the time and
    /// ".mel" in the temporary directory. Two chunks within a second share a name, and the later overwrites
    /// the earlier.
    std::string convert(const std::string& from, ChunkStore& store) const;

    /// Converts samples and writes the mel file to `into`.
    void convert(std::span<const float> samples, const std::string& into, ChunkStore& store) const;

  private:
    velmor::ConverterWrapper converter_;
};

}  // namespace Velmor
