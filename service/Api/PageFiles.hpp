#pragma once

#include <string_view>

/// The files of page/, put in at build time.
namespace VelmorService::PageFiles {
extern const std::string_view kIndex;
extern const std::string_view kStyle;
extern const std::string_view kDrawing;
extern const std::string_view kScript;
}  // namespace VelmorService::PageFiles
