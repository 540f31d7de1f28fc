#include "Preprocessor/Fast/ChunkKernels.hpp"

#include "Preprocessor/Fast/KernelTargets.hpp"

#if defined(VELMOR_X86_KERNELS) && __has_include(<sys/platform/x86.h>) && !defined(__clang__)
#include <sys/platform/x86.h>  // the loader has asked the processor already: 4 KB less than g++ brings; clang refuses it
#endif

namespace velmor {
namespace {

#if defined(VELMOR_X86_KERNELS)
/// True only where the system saves the wide registers, too.
bool hasAvx2() {
#if defined(CPU_FEATURE_ACTIVE)
    return CPU_FEATURE_ACTIVE(AVX2);
#else
    return __builtin_cpu_supports("avx2");
#endif
}
#endif

}  // namespace

std::size_t allChunkKernels(const ChunkKernels* (&out)[2]) {
    std::size_t count = 0;
    out[count++] = &kBaselineKernels;
#if defined(VELMOR_X86_KERNELS)
    if (hasAvx2()) out[count++] = &kAvx2Kernels;
#endif
    return count;
}

const ChunkKernels& chunkKernels() {
    static const ChunkKernels& widest = []() -> const ChunkKernels& {
        const ChunkKernels* all[2];
        return *all[allChunkKernels(all) - 1];
    }();
    return widest;
}

}  // namespace velmor
