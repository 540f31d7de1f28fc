#pragma once

// The kernels as compiled for each processor; ChunkKernels.cpp chooses.

#include "Preprocessor/Fast/ChunkKernels.hpp"

namespace velmor {

extern const ChunkKernels kBaselineKernels;  // 4 lanes: SSE2, NEON
#if defined(VELMOR_X86_KERNELS)
extern const ChunkKernels kAvx2Kernels;  // 8 lanes
#endif

}  // namespace velmor
