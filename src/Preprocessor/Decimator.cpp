#include "Preprocessor/Decimator.hpp"

#include "Preprocessor/Fast/FloatMode.hpp"

#include <algorithm>
#include <cstring>

namespace velmor {

Decimator::Decimator(const ChunkKernels& kernels) : kernels_(kernels), phases_{} {}

void Decimator::reset() {
    phases_ = {};
}

bool Decimator::process(std::span<const float> in, std::span<float> out) {
    const NoDenormals mode;
    bool finite = true;
    while (!in.empty()) {
        const std::size_t count = std::min(kDecimatorBlock, in.size() / kRatio);
        finite = kernels_.decimate(phases_, in.data(), count, out.data()) && finite;
        for (float* phase : {phases_.values[0], phases_.values[1], phases_.values[2]})
            std::memmove(phase, phase + count, kDecimatorPast * sizeof(float));
        in = in.subspan(count * kRatio);
        out = out.subspan(count);
    }
    return finite;
}

}  // namespace velmor
