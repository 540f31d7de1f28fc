#define VELMOR_LANES 4
#include "Preprocessor/Fast/KernelTargets.hpp"
#include "Preprocessor/Fast/Kernels.hpp"

namespace velmor {

const ChunkKernels kBaselineKernels = kernelTable("baseline");

}  // namespace velmor
