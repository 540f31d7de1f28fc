#define VELMOR_LANES 4
#include "Preprocessor/Chunk/KernelTargets.hpp"
#include "Preprocessor/Chunk/Kernels.hpp"

namespace velmor {

const ChunkKernels kBaselineKernels = kernelTable("baseline");

}  // namespace velmor
