#include "platform/posix/HeldOverFork.h"

#include <array>
#include <cstddef>

#include <pthread.h>

namespace LumPlatform {

namespace {

std::mutex listMutex;
std::array<std::mutex*, 4> list = {};
std::size_t count = 0;

void takeAll()
{
    listMutex.lock();
    for (std::size_t index = 0; index < count; ++index) {
        list[index]->lock();
    }
}

void releaseAll()
{
    for (std::size_t index = 0; index < count; ++index) {
        list[index]->unlock();
    }
    listMutex.unlock();
}

} // namespace

void holdOverFork(std::mutex& mutex)
{
    static const int registered = pthread_atfork(takeAll, releaseAll, releaseAll);
    const std::lock_guard<std::mutex> lock(listMutex);
    if (registered == 0 && count < list.size()) {
        list[count] = &mutex;
        ++count;
    }
}

} // namespace LumPlatform
