#pragma once

// A finished 30-second chunk to the mel file that is uploaded: read and check, reduce noise, mel spectrogram,
// .npy. The recording service calls it once for every chunk.

#include "Preprocessor/ChunkStore.hpp"
#include "Preprocessor/ConverterWrapper.hpp"
#include "Preprocessor/PreprocessorError.hpp"

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace Velmor {

/// The whole `.npy` file of samples (mono, 16 kHz), of shape (1, 20, 1201) for a chunk of 480,000. Other
/// multiples of 480,000 give an empty array, any other count throws `arrayLength`. Any thread.
std::vector<std::byte> melFileImage(const velmor::ConverterWrapper& converter,
                                    std::span<const float> samples);

/// Synchronous, on the caller's thread; calls from several threads are independent. Everything thrown is a
/// PreprocessorError, and a conversion that throws has written nothing.
class Preprocessor {
  public:
    explicit Preprocessor(const std::shared_ptr<ChunkStore>& store);

    /// Converts the chunk file at `from` and returns the location of the mel file: "result-", the time and
    /// ".mel" in the temporary directory. Two chunks within a second share a name, and the later overwrites
    /// the earlier.
    std::string convert(const std::string& from);

    /// Converts samples and writes the mel file to `into`.
    void convert(std::span<const float> samples, const std::string& into);

  private:
    std::vector<float> readChunk(const std::string& location);
    std::string outputLocation();

    const std::shared_ptr<ChunkStore> store_;
    velmor::ConverterWrapper converter_;
};

}  // namespace Velmor
