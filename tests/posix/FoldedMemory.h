#pragma once

#include <algorithm>
#include <cstddef>
#include <new>

#include <sys/mman.h>
#include <unistd.h>

namespace LumTests {

/// Puts the same 16 MiB of memory again and again under a range that starts at a page, so that it can be filled and
/// read where there is little memory. What the range held is lost.
inline void foldMemory(char* start, std::size_t size)
{
    constexpr std::size_t kFold = std::size_t{16} << 20U;
    const int memory = memfd_create("folded", MFD_CLOEXEC);
    bool isFolded = ftruncate(memory, static_cast<off_t>(kFold)) == 0;
    for (std::size_t offset = 0; isFolded && offset < size; offset += kFold) {
        const std::size_t part = std::min(kFold, size - offset);
        isFolded = mmap(start + offset, part, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, memory, 0) != MAP_FAILED;
    }
    close(memory);
    if (!isFolded) {
        throw std::bad_alloc();
    }
}

/// A range of addresses that takes much and has little memory.
class FoldedMemory {
public:
    explicit FoldedMemory(std::size_t wantedSize)
        : size(wantedSize),
          start(static_cast<char*>(mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)))
    {
        foldMemory(start, size);
    }
    ~FoldedMemory() { munmap(start, size); }
    FoldedMemory(const FoldedMemory&) = delete;
    FoldedMemory& operator=(const FoldedMemory&) = delete;

    char* data() const { return start; }

private:
    const std::size_t size;
    char* const start;
};

} // namespace LumTests
