#pragma once

#include <cstddef>

namespace LumTests {

/// While it lives, operator new fails for anything larger than the limit, on every thread. Without one, only sizes that
/// no machine has fail, so that they do under a sanitizer too, which would end the program instead of throwing.
///
/// The program must be linked with AllocationLimit.cpp, which replaces the global operators.
class AllocationLimit {
public:
    explicit AllocationLimit(std::size_t largest);
    ~AllocationLimit();
    AllocationLimit(const AllocationLimit&) = delete;
    AllocationLimit& operator=(const AllocationLimit&) = delete;

private:
    std::size_t before;
};

} // namespace LumTests
