#include "support/ProbeStack.h"

#include <pthread.h>
#include <sys/mman.h>

namespace LumTests {

namespace {

void* runFunction(void* function)
{
    (*static_cast<void (**)()>(function))();
    return nullptr;
}

/// Waits for the end, so that the memory is the caller's again.
bool runOnStack(void (*run)(), void* stack)
{
    pthread_attr_t attributes;
    pthread_t thread{};
    const bool runs = pthread_attr_init(&attributes) == 0 &&
                      pthread_attr_setstack(&attributes, stack, kProbeStackSize) == 0 &&
                      pthread_create(&thread, &attributes, runFunction, &run) == 0;
    return runs && pthread_join(thread, nullptr) == 0;
}

} // namespace

bool runOnProbeStack(void (*run)(), void (*look)(const unsigned char* memory, std::size_t size))
{
    void* const stack = mmap(nullptr, kProbeStackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (stack == MAP_FAILED || !runOnStack(run, stack)) {
        return false;
    }
    look(static_cast<const unsigned char*>(stack), kProbeStackSize);
    return true;
}

} // namespace LumTests
