#include "Sound/BedroomSounds.hpp"

namespace VelmorApp {
namespace {

constexpr double kRate = 48'000.0;
constexpr double kPi = 3.14159265358979323846;
constexpr std::size_t kRoomLong = 1U << 17;
constexpr std::size_t kRoomShort = 130'343;  // odd, so it shares no factor with the other
constexpr std::size_t kHum = 960;            // 50 Hz
constexpr std::size_t kBreath = 1U << 18;
constexpr std::size_t kRustle = 1U << 18;

// Sine by its series, for |x| <= pi: the library's may differ in the last bit from machine to machine.
double sine(double x) {
    double term = x;
    double sum = x;
    for (int n = 1; n < 14; ++n) {
        term *= -x * x / ((2.0 * n) * (2.0 * n + 1.0));
        sum += term;
    }
    return sum;
}

double cosine(double x) {
    return sine(kPi / 2.0 - x);
}

// First-order low-pass; `amount` is about 2 pi f / rate.
class Smooth {
  public:
    explicit Smooth(float amount) : amount_(amount) {}
    float operator()(float x) {
        state_ += amount_ * (x - state_);
        return state_;
    }

  private:
    float amount_;
    float state_ = 0.0F;
};

// Two-pole resonance of about unit gain at its frequency (Hz); width in Hz.
class Resonance {
  public:
    Resonance(double frequency, double width)
        : radius_(1.0 - kPi * width / kRate),
          back1_(2.0 * radius_ * cosine(2.0 * kPi * frequency / kRate)),
          gain_((1.0 - radius_) * 2.0 * sine(2.0 * kPi * frequency / kRate)) {}
    float operator()(float x) {
        const double y = gain_ * static_cast<double>(x) + back1_ * y1_ - radius_ * radius_ * y2_;
        y2_ = y1_;
        y1_ = y;
        return static_cast<float>(y);
    }

  private:
    double radius_, back1_, gain_;
    double y1_ = 0.0, y2_ = 0.0;
};

// Brings the loudest sample to 1.
void normalise(Samples& samples) {
    float peak = 1e-9F;
    for (const float x : samples) peak = x > peak ? x : (-x > peak ? -x : peak);
    for (float& x : samples) x /= peak;
}

template <class Make>
Samples fill(std::size_t length, Make make) {
    Samples samples(length);
    for (float& x : samples) x = make();
    return samples;
}

// Falls towards high frequencies as rooms do: rumble, a broad middle, a floor of hiss.
Samples makeRoom(Dice& dice, std::size_t length) {
    Smooth rumble(0.008F);
    Smooth middle(0.08F);
    auto samples = fill(length, [&] {
        const float x = dice.noise();
        return 3.0F * rumble(x) + 0.6F * middle(x) + 0.04F * x;
    });
    normalise(samples);
    return samples;
}

Samples makeHum() {
    constexpr std::array<double, 4> kParts{1.0, 0.5, 0.12, 0.2};
    Samples samples(kHum);
    for (std::size_t i = 0; i < kHum; ++i) {
        double value = 0.0;
        for (std::size_t k = 0; k < kParts.size(); ++k) {
            const std::size_t phase = i * (k + 1) % kHum;
            value +=
                kParts[k] * sine(2.0 * kPi * static_cast<double>(phase) / static_cast<double>(kHum) - kPi);
        }
        samples[i] = static_cast<float>(value);
    }
    normalise(samples);
    return samples;
}

Samples makeBreath(Dice& dice) {
    Resonance nose(480.0, 420.0);
    Resonance throat(1350.0, 900.0);
    Smooth soft(0.35F);
    auto samples = fill(kBreath, [&] {
        const float x = dice.noise();
        return soft(nose(x) + 0.7F * throat(x) + 0.02F * x);
    });
    normalise(samples);
    return samples;
}

// Cloth: hiss whose strength itself jumps about every few milliseconds.
Samples makeRustle(Dice& dice) {
    Smooth low(0.05F);
    Smooth strength(0.004F);
    float target = 0.0F;
    std::size_t left = 0;
    auto samples = fill(kRustle, [&] {
        if (left-- == 0) {
            left = 200 + dice.below(2400);
            target = static_cast<float>(dice.between(0.0, 1.0));
            target *= target;
        }
        const float x = dice.noise();
        return strength(target) * (x - low(x) + 2.0F * low(x));
    });
    normalise(samples);
    return samples;
}

// The soft palate flaps at 35 to 85 Hz, each flap a little late or early and more or less strong; mouth and
// throat ring with it, and air rushes through while it is open.
Samples makeSnore(Dice& dice) {
    const double flaps = dice.between(35.0, 85.0);
    Resonance throat(dice.between(150.0, 260.0), 90.0);
    Resonance mouth(dice.between(380.0, 620.0), 140.0);
    Resonance edge(dice.between(900.0, 1400.0), 300.0);
    Smooth opening(0.01F);
    double untilFlap = 0.0;
    const auto length = static_cast<std::size_t>(kRate * dice.between(1.1, 1.7));
    auto samples = fill(length, [&] {
        float push = 0.0F;
        untilFlap -= 1.0;
        if (untilFlap <= 0.0) {
            untilFlap += kRate / flaps * dice.between(0.92, 1.08);
            push = static_cast<float>(dice.between(0.6, 1.0));
        }
        const float air = opening(push * 40.0F) * dice.noise() * 0.25F;
        const float x = push * 60.0F + air;
        return throat(x) + 0.8F * mouth(x) + 0.4F * edge(x);
    });
    normalise(samples);
    return samples;
}

}  // namespace

std::uint64_t Dice::next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31U);
}

double Dice::between(double low, double high) {
    return low + (high - low) * (static_cast<double>(next() >> 11U) * 0x1p-53);
}

std::size_t Dice::below(std::size_t count) {
    return static_cast<std::size_t>(next() % count);
}

// Four 16-bit uniform numbers from one draw: their sum has mean 4 x 32767.5 and deviation 37837.
float Dice::noise() {
    const std::uint64_t bits = next();
    const auto sum = static_cast<std::int64_t>((bits & 0xFFFFU) + (bits >> 16U & 0xFFFFU) +
                                               (bits >> 32U & 0xFFFFU) + (bits >> 48U));
    return static_cast<float>(sum - 131'070) * (1.0F / 37'837.0F);
}

BedroomSounds::BedroomSounds(std::uint64_t seed) {
    Dice dice(seed);
    roomLong = makeRoom(dice, kRoomLong);
    roomShort = makeRoom(dice, kRoomShort);
    hum = makeHum();
    breath = makeBreath(dice);
    rustle = makeRustle(dice);
    for (auto& snore : snores) snore = makeSnore(dice);
}

}  // namespace VelmorApp
