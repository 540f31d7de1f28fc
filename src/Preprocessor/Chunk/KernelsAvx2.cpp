#define VELMOR_LANES 8
#include "Preprocessor/Chunk/KernelTargets.hpp"
#include "Preprocessor/Chunk/Kernels.hpp"

namespace velmor {

const ChunkKernels kAvx2Kernels = kernelTable("avx2");

}  // namespace velmor
