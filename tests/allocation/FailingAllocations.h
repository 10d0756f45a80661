#pragma once

#include <cstddef>

namespace LumTests {

/// While it lives, one allocation of the process fails, on whatever thread it is, or that one and all that follow:
/// those of operator new, and of threads without a WithMemory. The program must be linked with FailingAllocations.cpp,
/// on Windows with ModuleFailingAllocations.cpp too.
///
///     const LumTests::FailingAllocations failing(3, LumTests::FailingAllocations::Reach::One); // the third one
class FailingAllocations {
public:
    enum class Reach { One, AllThatFollow };

    FailingAllocations(std::size_t number, Reach reach);
    ~FailingAllocations();
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;

    /// Whether one has failed.
    bool HasFailed() const;

    /// From now on none fails.
    static void End();
};

/// Memory for an operator new, which counts; null if that allocation is to fail.
void* allocateOrFail(std::size_t size);

/// Frees it.
void freeAllocated(void* memory);

} // namespace LumTests
