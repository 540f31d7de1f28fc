#pragma once

#include <csignal>
#include <pthread.h>

namespace Velmor {

/// While it lives, threads that this one starts are born with all signals blocked, since threads take over
/// the mask of the one that starts them: no signal of the host's is handled on a thread of ours, and a
/// connection that breaks while it is written to raises no SIGPIPE.
class SignalsBlocked {
  public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS})
            sigdelset(&all, fault);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  private:
    sigset_t before_{};
};

}  // namespace Velmor
