// The pieces that numbers can be held against: resampler, queue, wave header.
#include "Recorder/AudioConstants.hpp"
#include "Recorder/CaptureQueue.hpp"
#include "Recorder/ChunkCutter.hpp"
#include "Recorder/Resampler.hpp"
#include "Recorder/WaveHeader.hpp"
#include "RecorderScene.hpp"

#include <array>
#include <atomic>
#include <cmath>
#include <numeric>
#include <thread>

namespace Velmor {
namespace {

// No two frames alike.
std::vector<float> ramp(std::size_t frames) {
    std::vector<float> out(frames);
    std::iota(out.begin(), out.end(), 1.0F);
    return out;
}

std::vector<float> resampled(const std::vector<float>& in, std::size_t block) {
    FilteringResampler resampler;
    std::vector<float> out;
    for (std::size_t at = 0; at < in.size(); at += block) {
        const auto frames = resampler.process(std::span(in).subspan(at, std::min(block, in.size() - at)));
        EXPECT_TRUE(frames);
        out.insert(out.end(), frames->begin(), frames->end());
        EXPECT_EQ(out.size(), std::min(at + block, in.size()) / 3);
    }
    return out;
}

class Parts : public RecorderScene {};

// Lost frames can leave chunks half a period off, where the rounding would give two the same number.
TEST_F(Parts, NumbersGrowHoweverFarTheChunksAreOff) {
    std::vector<std::int64_t> numbers;
    ChunkCutter cutter(platform, log, BootTime{},
                       [&](const std::string&, std::int64_t sequence) { numbers.push_back(sequence); });
    const std::vector<float> chunk(kChunkFrames);
    for (const auto end : {45'001ms, 74'999ms, 105'001ms, 600'000ms}) cutter.append(chunk, BootTime{end});
    EXPECT_EQ(numbers, (std::vector<std::int64_t>{1, 2, 3, 19}));
}

TEST(Resampler, BlocksOfAnySizeGiveTheSameFramesExactlyAThird) {
    const auto in = ramp(96'001);
    const auto whole = resampled(in, in.size());
    for (const std::size_t block : {1U, 2U, 3U, 256U, 16'240U, 19'199U, 19'200U, 19'201U})
        EXPECT_EQ(resampled(in, block), whole) << block;
}

TEST(Resampler, StartsAfreshAfterABlockThatIsNotFinite) {
    const auto in = ramp(19'201);
    const auto good = resampled(in, in.size());
    FilteringResampler resampler;
    for (const std::size_t place : {0U, 9'000U, 19'199U}) {
        auto spoilt = in;
        spoilt[place] = std::nanf("");
        EXPECT_FALSE(resampler.process(spoilt));
        const auto frames = resampler.process(in);
        ASSERT_TRUE(frames);
        EXPECT_EQ(std::vector(frames->begin(), frames->end()), good) << place;
        resampler.reset();
    }
}

TEST(CaptureQueue, HandsFramesAndTimesOverBetweenThreads) {
    CaptureQueue queue;
    constexpr std::uint64_t kTotal = 3'000'000;  // wraps around
    std::atomic<std::uint64_t> taken{0};
    std::thread producer([&] {
        std::vector<float> frames(4'801);
        for (std::uint64_t at = 0; at < kTotal;) {
            const auto count = std::min<std::uint64_t>(at % 4'800 + 1, kTotal - at);
            for (std::uint64_t i = 0; i < count; ++i) frames[i] = static_cast<float>((at + i) % 65'536);
            at += count;
            queue.push(std::span(frames).first(count), BootTime{inputTime(at)});
            while (at - taken > CaptureQueue::kCapacity / 2) std::this_thread::yield();
        }
    });
    std::vector<float> block(kBlockFrames);
    std::uint64_t wrong = 0;
    while (taken < kTotal) {
        const auto got = queue.take(block, 1, 2s);
        for (std::size_t i = 0; i < got.frames; ++i)
            wrong += block[i] != static_cast<float>((taken + i) % 65'536) ? 1U : 0U;
        taken += got.frames;
        if (got.frames > 0 && (got.end - BootTime{inputTime(taken)}) / 1us != 0) ++wrong;
    }
    producer.join();
    EXPECT_EQ(wrong, 0U);
    EXPECT_EQ(queue.takeLost(), 0U);
}

TEST(CaptureQueue, AsksOnceForABlockAndCountsWhatDoesNotFit) {
    CaptureQueue queue;
    const std::vector<float> frames(480'000, 1.0F);
    EXPECT_FALSE(queue.push(std::span(frames).first(kBlockFrames - 1), BootTime{1s}));
    EXPECT_TRUE(queue.push(std::span(frames).first(1), BootTime{1s}));
    EXPECT_FALSE(queue.push(frames, BootTime{11s}));
    for (int i = 0; i < 4; ++i) queue.push(frames, BootTime{std::chrono::seconds(21 + 10 * i)});
    EXPECT_EQ(queue.takeLost(), kBlockFrames + 5 * 480'000 - CaptureQueue::kCapacity);
    std::vector<float> out(CaptureQueue::kCapacity);
    EXPECT_EQ(queue.take(out, 1, 2s).frames, CaptureQueue::kCapacity);
    EXPECT_EQ(queue.take(out, 1, 2s).frames, 0U);

    CaptureQueue small;  // there is room for a number of buffers only, however small they are
    for (std::size_t i = 0; i < CaptureQueue::kMarks / 2; ++i)
        EXPECT_FALSE(small.push(std::span(frames).first(1), BootTime{1s}));
    EXPECT_TRUE(small.push(std::span(frames).first(1), BootTime{1s}));
}

TEST(CaptureQueue, ABlockEndsAtAGapInTime) {
    CaptureQueue queue;
    const std::vector<float> frames(4'800, 1.0F);
    queue.push(frames, BootTime{100ms});
    queue.push(frames, BootTime{200ms});
    queue.push(frames, BootTime{2'300ms});
    std::vector<float> out(kBlockFrames);
    const auto first = queue.take(out, 1, 2s);
    EXPECT_EQ(first.frames, 9'600U);
    EXPECT_EQ(first.begin, BootTime{});
    EXPECT_EQ(first.end, BootTime{200ms});
    EXPECT_EQ(queue.take(out, 1, 2s).begin, BootTime{2'200ms});
}

TEST(CaptureQueue, GivesAfterAClearOnlyWhatCameSince) {
    CaptureQueue queue;
    const auto frames = ramp(4'800);
    queue.push(frames, BootTime{100ms});
    queue.push(frames, BootTime{200ms});
    queue.clear();
    std::vector<float> out(kBlockFrames);
    EXPECT_EQ(queue.take(out, 1, 2s).frames, 0U);
    queue.push(std::span(frames).subspan(100), BootTime{1s});
    EXPECT_EQ(queue.take(out, 1, 2s).frames, 4'700U);
    EXPECT_EQ(out[0], frames[100]);
}

TEST(WaveHeader, IsAsItIsWritten) {
    const auto header = waveHeader({16'000, 1, 480'000});
    const std::string text(reinterpret_cast<const char*>(header.data()), header.size());
    using namespace std::string_literals;
    EXPECT_EQ(text,
              "RIFF\x30\x4c\x1d\0WAVEfmt \x10\0\0\0\x03\0\x01\0"
              "\x80\x3e\0\0\0\xfa\0\0\x04\0\x20\0"
              "fact\x04\0\0\0\0\x53\x07\0data\0\x4c\x1d\0"s);
}

TEST_F(Parts, TheTimeInNamesOfMelFilesIsOfTwelveHours) {
    FileChunkStore store(platform);
    for (const auto& [hour, text] : std::vector<std::pair<int, const char*>>{{0, "12:04:05 AM"},
                                                                             {1, "1:04:05 AM"},
                                                                             {11, "11:04:05 AM"},
                                                                             {12, "12:04:05 PM"},
                                                                             {13, "1:04:05 PM"},
                                                                             {23, "11:04:05 PM"}}) {
        const auto midnight = std::chrono::floor<std::chrono::days>(clock->wallNow());
        clock->stepWall(midnight + std::chrono::hours(hour) + 4min + 5s - clock->wallNow());
        EXPECT_EQ(store.mediumTime(), text);
    }
}

TEST_F(Parts, ChunkFilesAreNamedInTheDigitsOfTheLanguage) {
    for (const auto& [language, time] :
         std::vector<std::pair<const char*, const char*>>{{"de_DE", "14:22:13:20"},
                                                          {"", "14:22:13:20"},
                                                          {"ar_MA", "14:22:13:20"},
                                                          {"ar_EG", "١٤:٢٢:١٣:٢٠"},
                                                          {"fa", "۱۴:۲۲:۱۳:۲۰"},
                                                          {"mr-IN", "१४:२२:१३:२०"}}) {
        device->setLanguage(language);
        const ChunkCutter cutter(platform, log, BootTime{}, [](const std::string&, std::int64_t) {});
        EXPECT_THAT(temporaryFiles(), testing::Contains(std::string("chunk-") + time + "_0.pcm"));
    }
}

TEST_F(Parts, WaveFilesAreReadAndNothingElse) {
    FileChunkStore store(platform);
    const auto header = waveHeader({44'100, 2, 3});
    const std::string whole =
        std::string(reinterpret_cast<const char*>(header.data()), header.size()) + std::string(24, '\1');
    const auto mono = waveHeader({16'000, 1, 3});
    files->put("/a/followed", std::string(reinterpret_cast<const char*>(mono.data()), mono.size()) +
                                  std::string(12, '\1') + "more behind the frames");
    const auto followed = store.openChunk("/a/followed");
    std::array<float, 2> piece{};
    EXPECT_EQ(followed->read(piece), 2U);
    EXPECT_EQ(followed->read(piece), 1U);
    EXPECT_EQ(followed->read(piece), 0U);
    files->put("/a/whole", whole);
    const auto chunk = store.openChunk("/a/whole");
    EXPECT_EQ(chunk->sampleRate(), 44'100.0);
    EXPECT_EQ(chunk->channelCount(), 2);
    EXPECT_EQ(chunk->length(), 3);

    std::vector<std::string> bad{"", "RIFF", "not a wave file at all", std::string(4'000, 'x')};
    for (std::size_t cut = 1; cut <= 4; ++cut) bad.push_back(whole.substr(0, whole.size() - cut));
    for (std::size_t cut = 0; cut < 56; ++cut) bad.push_back(whole.substr(0, cut));
    auto integers = whole;
    integers[20] = 1;
    bad.push_back(integers);
    for (const auto& content : bad) {
        files->put("/a/bad", content);
        EXPECT_THROW(store.openChunk("/a/bad"), PlatformError) << content.size();
    }
}

}  // namespace
}  // namespace Velmor
