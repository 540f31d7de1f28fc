#include "../../sim/Allocations.hpp"
#include "../ErrorOf.hpp"
#include "Preprocessor/Preprocessor.hpp"
#include "TestSignals.hpp"

#include <algorithm>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <stdexcept>

namespace {

using Velmor::Preprocessor;
using VelmorTests::errorOf;

struct ChunkFile {
    double sampleRate = 16000.0;
    int channelCount = 1;
    std::int64_t length = 480000;
    std::size_t present = 480000;  // frames that can be read
    bool readFails = false;
};

class FakeReader : public Velmor::ChunkReader {
  public:
    explicit FakeReader(const ChunkFile& file) : file_(file) {}
    double sampleRate() const override { return file_.sampleRate; }
    int channelCount() const override { return file_.channelCount; }
    std::int64_t length() const override { return file_.length; }
    std::size_t read(std::span<float> out) override {
        EXPECT_EQ(out.size(), 480256U);
        if (file_.readFails) throw std::runtime_error("EIO");
        const auto samples = TestSignals::bedroom();
        const std::size_t count = std::min(file_.present, out.size());
        std::copy_n(samples.begin(), count, out.begin());
        return count;
    }

  private:
    ChunkFile file_;
};

class FakeStore : public Velmor::ChunkStore {
  public:
    std::map<std::string, ChunkFile> chunks;
    std::map<std::string, std::vector<std::byte>> written;
    std::string directory = "/tmp/velmor/";
    bool writeFails = false;

    std::unique_ptr<Velmor::ChunkReader> openChunk(const std::string& location) override {
        if (!chunks.contains(location)) throw std::runtime_error("no such file");
        return std::make_unique<FakeReader>(chunks[location]);
    }
    void write(const std::string& location, std::span<const std::byte> bytes) override {
        if (writeFails) throw std::runtime_error("disk full");
        written[location].assign(bytes.begin(), bytes.end());
    }
    std::string temporaryDirectory() override {
        if (directory == "gone") throw std::runtime_error("no such directory");
        return directory;
    }
    std::string mediumTime() override { return "3:41:07 PM"; }
};

class PreprocessorTest : public testing::Test {
  protected:
    /// What is wrong with the conversion of that file; empty when nothing is.
    std::string errorWith(const ChunkFile& file) {
        store_.chunks["chunk.wav"] = file;
        return errorOf<Velmor::PreprocessorError>(
            [&] { Preprocessor::shared().convert("chunk.wav", store_); });
    }

    FakeStore store_;
};

TEST_F(PreprocessorTest, ChunkFileToMelFile) {
    store_.chunks["chunk.wav"] = {};
    EXPECT_EQ(Preprocessor::shared().convert("chunk.wav", store_), "/tmp/velmor/result-3:41:07 PM.mel");
    const auto& file = store_.written.at("/tmp/velmor/result-3:41:07 PM.mel");
    ASSERT_EQ(file.size(), 96157U);
    EXPECT_NE(std::search_n(file.begin() + 77, file.end(), 1, std::byte{0x3f}), file.end());

    Preprocessor::shared().convert(TestSignals::bedroom(), "again.mel", store_);
    EXPECT_EQ(store_.written.at("again.mel"), file) << "from memory as from a file";
}

TEST_F(PreprocessorTest, WhatIsWrongWithAChunkFile) {
    struct Case {
        ChunkFile file;
        const char* error;
    };
    const std::vector<Case> cases = {
        {{.sampleRate = 44100}, "pcmFormat: request sample rate is 16000.0, but input is 44100.0"},
        {{.sampleRate = 8000.5, .channelCount = 2},
         "pcmFormat: request sample rate is 16000.0, but input is 8000.5"},
        {{.channelCount = 2, .length = 1}, "pcmFormat: request channelCount count is 1, but input is 2"},
        {{.length = 479000}, "pcmFormat: request file length is 480000.0, but input is 479000"},
        {{.length = 480001}, "pcmFormat: request file length is 480000.0, but input is 480001"},
        {{.present = 479999}, "channelData"},
        {{.readFails = true}, "system: EIO"},
    };
    for (const Case& c : cases) EXPECT_EQ(errorWith(c.file), c.error);
    EXPECT_EQ(
        errorOf<Velmor::PreprocessorError>([&] { Preprocessor::shared().convert("missing.wav", store_); }),
        "system: no such file");
    EXPECT_TRUE(store_.written.empty());
}

TEST_F(PreprocessorTest, OutputThatCannotBeWritten) {
    store_.writeFails = true;
    EXPECT_EQ(errorWith({}), "system: disk full");
    for (const char* directory : {"", "gone"}) {
        store_.directory = directory;
        EXPECT_EQ(errorWith({}), "melFile");
    }
}

// Each allocation of a first conversion fails in turn: the error says which step it was for.
TEST_F(PreprocessorTest, NoMemoryForAStep) {
    namespace Allocations = Velmor::Nights::Allocations;
    store_.chunks["chunk.wav"] = {};
    std::set<std::string> errors;
    std::string error = "none yet";
    for (std::uint64_t nth = 1; !error.empty(); ++nth) {
        EXPECT_TRUE(store_.written.empty());
        const Preprocessor fresh;  // has no work space
        Allocations::arm(nth, false);
        error = errorOf<Velmor::PreprocessorError>([&] { fresh.convert("chunk.wav", store_); });
        Allocations::disarm();
        errors.insert(error);
    }
    EXPECT_EQ(errors, (std::set<std::string>{"", "melFormat", "melFile", "noiseReduction", "convertMel",
                                             "system: std::bad_alloc"}));
}

TEST_F(PreprocessorTest, OtherLengthsInMemory) {
    EXPECT_EQ(errorOf<Velmor::PreprocessorError>(
                  [&] { Preprocessor::shared().convert(std::vector<float>(480001), "odd", store_); }),
              "arrayLength");
    EXPECT_EQ(errorOf<Velmor::PreprocessorError>(
                  [&] { Preprocessor::shared().convert(std::vector<float>(), "none", store_); }),
              "noiseReduction");
    Preprocessor::shared().convert(std::vector<float>(960000), "two", store_);
    const auto& file = store_.written.at("two");
    std::string text;
    for (const std::byte b : file) text += static_cast<char>(b);
    EXPECT_EQ(text.substr(10), "{ 'descr': '=f4', 'fortran_order': False, 'shape': (0, 20, 1201), }");
}

TEST_F(PreprocessorTest, SeveralThreadsAtOnce) {
    const auto samples = TestSignals::bedroom();
    const velmor::ConverterWrapper converter;
    const auto alone = Velmor::melFileImage(converter, samples);
    std::vector<std::future<std::vector<std::byte>>> images(6);
    for (auto& image : images)
        image = std::async(std::launch::async, [&] { return Velmor::melFileImage(converter, samples); });
    for (auto& image : images) EXPECT_EQ(image.get(), alone);
}

}  // namespace
