#pragma once

#include <cstddef>

namespace LumTests {

/// A range of addresses that takes much and has little memory: the same 16 MiB again and again, so that it can be
/// filled and read where there is little memory. Throws std::bad_alloc where there is no such range.
class FoldedMemory {
public:
    explicit FoldedMemory(std::size_t wantedSize);
    ~FoldedMemory();
    FoldedMemory(const FoldedMemory&) = delete;
    FoldedMemory& operator=(const FoldedMemory&) = delete;

    /// Every so many bytes the same ones are found again.
    static constexpr std::size_t kFold = std::size_t{16} << 20U;

    char* data() const { return start; }

private:
    std::size_t size;
    char* start;
};

} // namespace LumTests
