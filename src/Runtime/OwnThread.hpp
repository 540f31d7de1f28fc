// How the library ends its threads.
#pragma once

#include <thread>

namespace Velmor {

/// True on threads that the library has started; each says so first of all.
inline thread_local bool isOwnThread = false;

/// Waits for a thread of the library's that has been told to end. On another one of them, or on itself, it is
/// left to end alone: the last reference to an owner drops wherever it happens to, and two threads that end
/// each other's owners would wait for ever. What it still needs it must hold itself.
inline void joinOrDetach(std::thread& thread) {
    if (!thread.joinable()) return;
    if (isOwnThread)
        thread.detach();
    else
        thread.join();
}

}  // namespace Velmor
