#include "Sound/Bedroom.hpp"

#include "Sound/BedroomSounds.hpp"

#include <algorithm>
#include <vector>

namespace VelmorApp {
namespace {

constexpr double kRate = kMicrophoneRate;

std::uint64_t framesOf(double seconds) {
    return static_cast<std::uint64_t>(seconds * kRate);
}

// A stretch of a sound at a place in the night. It swells for `attack` of its length and fades for the rest.
struct Grain {
    std::uint64_t start = 0;
    std::uint64_t length = 0;
    const float* samples = nullptr;
    float gain = 0.0F;
    float attack = 0.5F;
};

// Adds what of the grain falls into the block that begins at `blockStart`.
void addGrain(const Grain& grain, std::uint64_t blockStart, std::span<float> block) {
    const std::uint64_t begin = std::max(grain.start, blockStart);
    const std::uint64_t end = std::min(grain.start + grain.length, blockStart + block.size());
    if (begin >= end) return;
    const auto count = static_cast<std::int32_t>(end - begin);
    const auto first = static_cast<std::int32_t>(begin - grain.start);
    const float* in = grain.samples + first;
    float* out = block.data() + (begin - blockStart);
    const float perFrame = 1.0F / static_cast<float>(grain.length);
    const float rise = 1.0F / grain.attack;
    const float fall = 1.0F / (1.0F - grain.attack);
    for (std::int32_t i = 0; i < count; ++i) {
        const float place = static_cast<float>(first + i) * perFrame;
        const float up = place * rise;
        const float down = (1.0F - place) * fall;
        const float slope = up < down ? up : down;
        out[i] += grain.gain * (slope * slope * (3.0F - 2.0F * slope)) * in[i];
    }
}

// How the sleeper sleeps for some minutes.
struct Phase {
    std::uint64_t end = 0;
    double breathSeconds = 4.0;
    double depth = 1.0;
    double snoreShare = 0.0;  // of all breaths
    double snoreLevel = 0.0;
    double movesPerBreath = 0.0;
    std::size_t snore = 0;
};

class Bedroom : public SoundSource {
  public:
    Bedroom(std::uint64_t seed, std::uint64_t frames) : sounds_(seed), dice_(~seed), frames_(frames) {}

    std::optional<std::uint64_t> frames() const override { return frames_; }

    std::size_t read(std::span<float> out) override {
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), frames_ - position_));
        const auto block = out.first(count);
        fillWithRoom(block);
        while (nextBreath_ < position_ + count) planBreath();
        for (const Grain& grain : grains_) addGrain(grain, position_, block);
        position_ += count;
        std::erase_if(grains_,
                      [this](const Grain& grain) { return grain.start + grain.length <= position_; });
        return count;
    }

  private:
    // Loops are added run by run, each run free of wrap-around, so that the inner loop is one the compiler
    // widens.
    void fillWithRoom(std::span<float> block) {
        for (std::size_t done = 0; done < block.size();) {
            const std::uint64_t place = position_ + done;
            const auto a = static_cast<std::size_t>(place % sounds_.roomLong.size());
            const auto b = static_cast<std::size_t>(place % sounds_.roomShort.size());
            const auto h = static_cast<std::size_t>(place % sounds_.hum.size());
            const std::size_t run = std::min({block.size() - done, sounds_.roomLong.size() - a,
                                              sounds_.roomShort.size() - b, sounds_.hum.size() - h});
            addRoom({&sounds_.roomLong[a], run}, {&sounds_.roomShort[b], run}, {&sounds_.hum[h], run},
                    block.subspan(done, run));
            done += run;
        }
    }

    static void addRoom(std::span<const float> a, std::span<const float> b, std::span<const float> hum,
                        std::span<float> out) {
        for (std::size_t i = 0; i < out.size(); ++i) out[i] = 0.006F * (a[i] + b[i]) + 0.0012F * hum[i];
    }

    void planPhase() {
        phase_.end = nextBreath_ + framesOf(dice_.between(150.0, 780.0));
        phase_.breathSeconds = dice_.between(3.4, 5.2);
        phase_.depth = dice_.between(0.5, 1.0);
        const bool snoring = dice_.between(0.0, 1.0) < 0.4;
        phase_.snoreShare = snoring ? dice_.between(0.6, 0.97) : 0.02;
        phase_.snoreLevel = dice_.between(0.06, 0.22);
        phase_.snore = dice_.below(sounds_.snores.size());
        phase_.movesPerBreath = dice_.between(0.002, 0.03);
    }

    void planBreath() {
        if (nextBreath_ >= phase_.end) planPhase();
        const double length = phase_.breathSeconds * dice_.between(0.9, 1.12);
        const auto in = framesOf(length * 0.38);
        const auto out = framesOf(length * 0.45);
        if (dice_.between(0.0, 1.0) < phase_.snoreShare)
            addSnore(nextBreath_);
        else
            addNoise(sounds_.breath, nextBreath_, in, 0.022 * phase_.depth, 0.6F);
        addNoise(sounds_.breath, nextBreath_ + in + framesOf(0.12), out, 0.014 * phase_.depth, 0.25F);
        if (dice_.between(0.0, 1.0) < phase_.movesPerBreath) addMovement();
        nextBreath_ += framesOf(length);
    }

    void addSnore(std::uint64_t start) {
        const Samples& snore = sounds_.snores[phase_.snore];
        grains_.push_back({start, snore.size(), snore.data(),
                           static_cast<float>(phase_.snoreLevel * dice_.between(0.6, 1.1)), 0.35F});
    }

    void addMovement() {
        const std::size_t parts = 2 + dice_.below(5);
        std::uint64_t at = nextBreath_;
        for (std::size_t i = 0; i < parts; ++i) {
            addNoise(sounds_.rustle, at, framesOf(dice_.between(0.4, 2.2)), dice_.between(0.03, 0.2), 0.2F);
            at += framesOf(dice_.between(0.2, 1.5));
        }
    }

    void addNoise(const Samples& noise, std::uint64_t start, std::uint64_t length, double gain,
                  float attack) {
        const std::size_t offset = dice_.below(noise.size() - static_cast<std::size_t>(length));
        grains_.push_back({start, length, noise.data() + offset, static_cast<float>(gain), attack});
    }

    const BedroomSounds sounds_;
    Dice dice_;
    const std::uint64_t frames_;
    std::uint64_t position_ = 0;
    std::uint64_t nextBreath_ = 0;
    Phase phase_;
    std::vector<Grain> grains_;
};

}  // namespace

std::unique_ptr<SoundSource> makeBedroom(std::uint64_t seed, std::uint64_t frames) {
    return std::make_unique<Bedroom>(seed, frames);
}

}  // namespace VelmorApp
