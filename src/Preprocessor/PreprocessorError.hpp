#pragma once

// Why a chunk was not converted: one case with its payload, thrown by Preprocessor.

#include <exception>
#include <string>
#include <variant>

namespace Velmor {

class PreprocessorError : public std::exception {
  public:
    /// Rate, channel count or length of the chunk file is wrong.
    struct pcmFormat {
        std::string description;
    };
    /// Anything else that was thrown on the way, mostly by the file system.
    struct system {
        std::exception_ptr error;
    };
    /// There is no memory for the samples of the file.
    struct melFormat {};
    /// The file holds fewer samples than it says.
    struct channelData {};
    /// The noise reduction gave nothing: there are no samples, or there is no memory for it.
    struct noiseReduction {};
    /// The mel spectrogram gave nothing: there is no memory for it.
    struct convertMel {};
    /// The number of samples is not a multiple of a chunk's.
    struct arrayLength {};
    /// No location for the output file, since the directory or the time cannot be told.
    struct melFile {};

    using Case = std::variant<pcmFormat, system, melFormat, channelData, noiseReduction, convertMel,
                              arrayLength, melFile>;

    explicit PreprocessorError(Case what);

    const Case& value() const { return case_; }
    template <class T>
    bool is() const {
        return std::holds_alternative<T>(case_);
    }
    /// Name of the case, then its text if it has one: "pcmFormat: request sample rate is ...".
    const char* what() const noexcept override;

  private:
    Case case_;
    std::string description_;
};

}  // namespace Velmor
