// Files that a process left behind when it died.
#pragma once

#include <memory>

#include <Velmor/Platform/Files.hpp>

namespace Velmor {

/// Removes chunk and mel files from the temporary directory, the first time it is called for these files in
/// this process. Any thread; does not throw.
void removeLeftOverFiles(const std::shared_ptr<FileSystem>& files);

}  // namespace Velmor
