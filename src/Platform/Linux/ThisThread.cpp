#include "Platform/ThisThread.hpp"

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

namespace Velmor {

void nameThisThread(const char* name) {
    pthread_setname_np(pthread_self(), name);
}

// On Linux a priority is a thread's, not the process's.
void lowerPriorityOfThisThread() {
    constexpr int kNiceness = 10;
    setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), kNiceness);
}

}  // namespace Velmor
