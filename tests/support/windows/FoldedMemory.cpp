#include "support/FoldedMemory.h"

#include <new>

#include <windows.h>

namespace LumTests {

namespace {

/// The mapping lives as long as its views.
HANDLE makeMapping()
{
    return CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, FoldedMemory::kFold, nullptr);
}

/// The views up to this offset.
void unmap(char* start, std::size_t end)
{
    for (std::size_t offset = 0; offset < end; offset += FoldedMemory::kFold) {
        UnmapViewOfFile(start + offset);
    }
}

/// A range that was free a moment ago.
char* findRange(std::size_t size)
{
    void* const range = VirtualAlloc(nullptr, size, MEM_RESERVE, PAGE_NOACCESS);
    if (range != nullptr) {
        VirtualFree(range, 0, MEM_RELEASE);
    }
    return static_cast<char*>(range);
}

/// Null if there is no range, or another thread took some of it.
char* mapFolds(HANDLE mapping, std::size_t size)
{
    char* const start = findRange(size);
    for (std::size_t offset = 0; start != nullptr && offset < size; offset += FoldedMemory::kFold) {
        if (MapViewOfFileEx(mapping, FILE_MAP_WRITE, 0, 0, 0, start + offset) == nullptr) {
            unmap(start, offset);
            return nullptr;
        }
    }
    return start;
}

} // namespace

FoldedMemory::FoldedMemory(std::size_t wantedSize) : size((wantedSize + kFold - 1) / kFold * kFold), start(nullptr)
{
    constexpr int kMostTries = 10;
    const HANDLE mapping = makeMapping();
    for (int attempt = 0; mapping != nullptr && start == nullptr && attempt < kMostTries; ++attempt) {
        start = mapFolds(mapping, size);
    }
    if (mapping != nullptr) {
        CloseHandle(mapping);
    }
    if (start == nullptr) {
        throw std::bad_alloc();
    }
}

FoldedMemory::~FoldedMemory()
{
    unmap(start, size);
}

} // namespace LumTests
