#include "support/SmallStack.h"

#include <pthread.h>

namespace LumTests {

namespace {

constexpr std::size_t kStackSize = 256 * 1024;

void* run(void* function)
{
    (*static_cast<const std::function<void()>*>(function))();
    return nullptr;
}

} // namespace

bool runWithSmallStack(const std::function<void()>& function)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_t thread{};
    const bool runs = pthread_attr_setstacksize(&attributes, kStackSize) == 0 &&
                      pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&function)) == 0;
    pthread_attr_destroy(&attributes);
    return runs && pthread_join(thread, nullptr) == 0;
}

} // namespace LumTests
