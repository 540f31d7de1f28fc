#define VELMOR_LANES 16
#include "Preprocessor/Chunk/KernelTargets.hpp"
#include "Preprocessor/Chunk/Kernels.hpp"

namespace velmor {

const ChunkKernels kAvx512Kernels = kernelTable("avx512");

}  // namespace velmor
