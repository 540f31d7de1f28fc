#pragma once

// Denormal numbers out of the way: some processors are a hundred times slower with them, and an idle
// microphone can deliver nothing else. The one place that knows about processors' control registers.

#include <cstdint>

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

namespace velmor {

/// While it lives, this thread takes denormal operands for zeros and rounds denormal results to zero; then
/// the mode is what it was. Does nothing on processors that it does not know.
class NoDenormals {
  public:
    NoDenormals() : before_(get()) { set(before_ | kFlush); }
    ~NoDenormals() { set(before_); }
    NoDenormals(const NoDenormals&) = delete;
    NoDenormals& operator=(const NoDenormals&) = delete;

  private:
#if defined(__x86_64__)
    using Register = unsigned;
    static constexpr Register kFlush = 0x8040;  // flush to zero, denormals are zeros
    static Register get() {
        return _mm_getcsr();
    }
    static void set(Register value) {
        _mm_setcsr(value);
    }
#elif defined(__aarch64__)
    using Register = std::uint64_t;
    static constexpr Register kFlush = 1U << 24U;
    static Register get() {
        Register value;
        asm volatile("mrs %0, fpcr" : "=r"(value));
        return value;
    }
    static void set(Register value) {
        asm volatile("msr fpcr, %0" : : "r"(value));
    }
#else
    using Register = unsigned;
    static constexpr Register kFlush = 0;
    static Register get() {
        return 0;
    }
    static void set(Register) {}
#endif

    const Register before_;
};

}  // namespace velmor
