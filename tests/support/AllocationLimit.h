#pragma once

#include <cstddef>
#include <exception>
#include <new>

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

/// While it lives, this thread's operator new works so many times more, then fails, once or from then on, with the
/// given exception. Where the thread has a WithMemory, it neither counts nor fails.
///
///     const LumTests::FailingAllocation failing(2); // the third one fails
class FailingAllocation {
public:
    enum class Reach { One, AllThatFollow };

    explicit FailingAllocation(int succeeding, Reach reach = Reach::One,
                               std::exception_ptr failure = std::make_exception_ptr(std::bad_alloc()));
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    /// Whether it has failed.
    static bool HasFailed();

private:
    std::exception_ptr wantedFailure;
};

/// Throws if an allocation of this size, on this thread, is to fail now. For other ways to get memory than operator
/// new.
void failIfWanted(std::size_t size);

} // namespace LumTests
