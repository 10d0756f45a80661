#include "allocation/FailingAllocations.h"
#include "support/windows/ModuleMemory.h"

/// The module has operators of its own. Its allocations count and fail as the program's do.

namespace LumTests {

namespace {

struct Redirection {
    Redirection() { redirectModuleMemory(&allocateOrFail, &freeAllocated); }
};

const Redirection redirection;

} // namespace

} // namespace LumTests
