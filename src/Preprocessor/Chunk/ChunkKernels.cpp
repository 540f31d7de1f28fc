#include "Preprocessor/Chunk/ChunkKernels.hpp"

#include "Preprocessor/Chunk/KernelTargets.hpp"

namespace velmor {

std::size_t allChunkKernels(const ChunkKernels* (&out)[2]) {
    std::size_t count = 0;
    out[count++] = &kBaselineKernels;
#if defined(VELMOR_X86_KERNELS)
    if (__builtin_cpu_supports("avx2")) out[count++] = &kAvx2Kernels;
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
