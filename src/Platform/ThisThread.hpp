// What the library wants of the thread that it runs on, beyond what std::thread knows. Each system's folder
// has its own.
#pragma once

namespace Velmor {

/// The name that debuggers and process lists show; systems may keep only its first 15 bytes.
void nameThisThread(const char* name);

/// Lets the threads of the host go first, for work that nobody waits for.
void lowerPriorityOfThisThread();

}  // namespace Velmor
