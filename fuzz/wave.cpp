// The reader of chunk files hands out what a file promises and holds.
#include "Input.hpp"
#include "Recorder/FileChunkStore.hpp"
#include "tests/World.hpp"

#include <cstring>

namespace Velmor::Fuzz {

void read(ChunkReader& reader, const std::string& file, std::size_t piece) {
    const auto promised = static_cast<std::size_t>(reader.length()) * sizeof(float);
    require(reader.channelCount() > 0, "a file without channels");
    require(promised * static_cast<std::size_t>(reader.channelCount()) <= file.size(),
            "more than the file holds");
    if (reader.channelCount() > 1) return;
    std::vector<float> frames(piece + 1);
    std::string bytes;
    while (const auto got = reader.read(frames)) {
        bytes.resize(bytes.size() + got * sizeof(float));
        std::memcpy(bytes.data() + bytes.size() - got * sizeof(float), frames.data(), got * sizeof(float));
    }
    require(bytes.size() == promised && file.find(bytes) != std::string::npos,
            "other frames than the file's");
}

void run(Input input) {
    const auto piece = input.choice(64);
    const auto file = input.rest();
    const World world;
    world.files->put("/tmp/velmor/chunk.pcm", file);
    try {
        read(*FileChunkStore(world.platform).openChunk("/tmp/velmor/chunk.pcm"), file, piece);
    } catch (const PlatformError&) {
    }
}

}  // namespace Velmor::Fuzz
