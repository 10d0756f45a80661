#include "platform/LumMemory.h"

#include <cerrno>
#include <cstdint>

#include <sys/mman.h>

namespace LumPlatform {

namespace {

constexpr std::uintptr_t kLargePage = std::uintptr_t{2} << 20U;

/// Smaller memory mostly is the allocator's, and was brought in long ago.
constexpr std::size_t kWorthWhile = 4 * kLargePage;

} // namespace

void ExpectFilling(void* memory, std::size_t size)
{
    if (size < kWorthWhile) {
        return;
    }
    const auto start = reinterpret_cast<std::uintptr_t>(memory);
    const std::uintptr_t first = (start + kLargePage - 1) / kLargePage * kLargePage;
    const std::uintptr_t end = (start + size) / kLargePage * kLargePage;
    const int error = errno;
    madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
    errno = error;
}

} // namespace LumPlatform
