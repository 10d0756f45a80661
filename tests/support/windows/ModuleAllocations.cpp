#include "support/AllocationLimit.h"
#include "support/windows/ModuleMemory.h"

#include <cstdlib>

/// The module has an operator new of its own. A test's limits hold for it too.

namespace LumTests {

namespace {

void* allocateWithinLimits(std::size_t size)
{
    failIfWanted(size);
    return std::malloc(size);
}

struct Redirection {
    Redirection() { redirectModuleMemory(&allocateWithinLimits, nullptr); }
};

const Redirection redirection;

} // namespace

} // namespace LumTests
