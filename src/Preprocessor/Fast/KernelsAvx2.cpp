#define VELMOR_LANES 8
#include "Preprocessor/Fast/KernelTargets.hpp"
#include "Preprocessor/Fast/Kernels.hpp"

namespace velmor {

const ChunkKernels kAvx2Kernels = kernelTable("avx2");

}  // namespace velmor
