#!/usr/bin/python3
"""Designs the low-pass filter of the decimator: make_decimator_taps.py > DecimatorTaps.hpp

The exchange algorithm of Parks and McClellan: the shortest symmetric filter for ripples of given size. What is
left of the band that would fold weighs 250 times as much as the ripple in the band that is kept: 0.0134 dB
against -104.2 dB. Needs Debian's python3-scipy; another version than 1.10.1 may give other last digits.
"""

import numpy
import scipy.signal

RATE = 48_000
REACH = 110  # fills the pairs of all three phases at 0 to 36 outputs from the centre
EDGES = [0, 7_000, 8_000, RATE / 2]

taps = scipy.signal.remez(2 * REACH + 1, EDGES, [1, 0], weight=[1, 250], fs=RATE, maxiter=200, grid_density=32)
taps[REACH] /= 2
half = [f"{numpy.float32(tap):.9g}F" for tap in taps[REACH:]]
rows = ["    " + ", ".join(half[i : i + 6]) + ",\n" for i in range(0, len(half), 6)]
print(
    """#pragma once

// Made by make_decimator_taps.py, which tells how.

#include "Preprocessor/Fast/ChunkKernels.hpp"

namespace velmor {

// Half of the middle tap, which makes a pair with itself, then those 1, 2, ... inputs away on either side.
// clang-format off
inline constexpr float kDecimatorTaps[] = {
"""
    + "".join(rows)
    + """};
// clang-format on
static_assert(sizeof kDecimatorTaps == (kDecimatorReach + 1) * sizeof(float));

}  // namespace velmor"""
)
