// Turns full chunk files into mel spectrograms and hands their bytes on, in order.
#pragma once

#include "Log/LogAPI.hpp"
#include "Recorder/CaptureParts.hpp"

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>

#include <Velmor/Platform.hpp>

namespace Velmor {

/// One finished chunk.
struct ChunkData {
    std::string bytes;  ///< of its mel spectrogram file
    std::int64_t sequence;
};

/// Operations are called on the main loop.
class ChunkPublisher : public std::enable_shared_from_this<ChunkPublisher> {
  public:
    using Deliver = std::function<void(const ChunkData& data)>;

    /// `deliver` is called on the main loop; it must do nothing once its owner is gone.
    ChunkPublisher(const std::shared_ptr<const Platform>& platform, const std::shared_ptr<LogAPI>& log,
                   CaptureParts::Convert convert, Deliver deliver);
    /// Removes the mel files of what was not delivered.
    ~ChunkPublisher();
    ChunkPublisher(const ChunkPublisher&) = delete;
    ChunkPublisher& operator=(const ChunkPublisher&) = delete;

    /// Converts the chunk, now, and delivers its data in a later task. A failure is logged.
    void publish(const std::string& chunkPath, std::int64_t sequence);
    /// Delivers at once what waits for its task.
    void deliverWaiting();

  private:
    struct Mel {
        std::string path;
        std::unique_ptr<File> file;  // opened at once: a later chunk may take the path over
        std::int64_t sequence;
    };

    void deliverNext();
    void failed(const char* what) noexcept;

    const std::shared_ptr<const Platform> platform_;
    const std::shared_ptr<LogAPI> log_;
    const CaptureParts::Convert convert_;
    const Deliver deliver_;
    std::deque<Mel> waiting_;
};

}  // namespace Velmor
