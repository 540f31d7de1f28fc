#pragma once

/// Marks what the shared library exports; everything else stays inside.
#define VELMOR_API __attribute__((visibility("default")))
