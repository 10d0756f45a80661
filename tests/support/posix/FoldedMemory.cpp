#include "support/FoldedMemory.h"

#include "support/posix/FoldMemory.h"

#include <algorithm>
#include <new>

#include <sys/mman.h>
#include <unistd.h>

namespace LumTests {

void foldMemory(char* start, std::size_t size)
{
    constexpr std::size_t kFold = FoldedMemory::kFold;
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

FoldedMemory::FoldedMemory(std::size_t wantedSize)
    : size(wantedSize),
      start(static_cast<char*>(mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)))
{
    foldMemory(start, size);
}

FoldedMemory::~FoldedMemory()
{
    munmap(start, size);
}

} // namespace LumTests
