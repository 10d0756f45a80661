#include "platform/posix/winhttp/SignalBlock.h"

#include <initializer_list>

#include <pthread.h>

namespace LumPlatform {

SignalBlock::SignalBlock()
{
    sigset_t blocked;
    sigfillset(&blocked);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
        sigdelset(&blocked, fault);
    }
    pthread_sigmask(SIG_SETMASK, &blocked, &before);
}

SignalBlock::~SignalBlock()
{
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

} // namespace LumPlatform
