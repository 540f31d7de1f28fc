// What the preprocessor needs, over the library's files, clock and device.
#pragma once

#include "Preprocessor/ChunkStore.hpp"

#include <memory>
#include <span>
#include <string>

#include <Velmor/Platform.hpp>

namespace Velmor {

class FileChunkStore : public ChunkStore {
  public:
    explicit FileChunkStore(const std::shared_ptr<const Platform>& platform);

    std::unique_ptr<ChunkReader> openChunk(const std::string& location) override;
    /// The file is replaced by another; whoever has the former open keeps its bytes.
    void write(const std::string& location, std::span<const std::byte> bytes) override;
    std::string temporaryDirectory() override;
    std::string mediumTime() override;

  private:
    const std::shared_ptr<const Platform> platform_;
};

}  // namespace Velmor
