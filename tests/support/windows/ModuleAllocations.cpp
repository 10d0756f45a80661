#include "support/AllocationLimit.h"

#include "common/utils/LumTextUtils.h"
#include "support/windows/ModuleImport.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

/// The module has an operator new of its own, which asks the system's runtime for memory. So that a test's limits hold
/// for it too, its calls to malloc are sent here.

namespace LumTests {

namespace {

/// No other allocation has this size.
constexpr std::size_t kLearntSize = 54321;

/// Where the module's operator new calls malloc. The runtime's other calls are left alone: some hold locks, and none
/// expects an exception.
const void* callInOperatorNew = nullptr;

void* allocateForModule(std::size_t size)
{
    const void* const caller = __builtin_return_address(0);
    if (callInOperatorNew == nullptr && size == kLearntSize) {
        callInOperatorNew = caller;
    }
    if (caller == callInOperatorNew) {
        failIfWanted(size);
    }
    return std::malloc(size);
}

struct Redirection {
    Redirection()
    {
        ModuleImport("malloc").redirect(reinterpret_cast<void*>(&allocateForModule));
        LumUtils::trimString(std::string(kLearntSize - 1, 'x'));
        if (callInOperatorNew == nullptr) {
            throw std::runtime_error("the module's operator new is not found");
        }
    }
};

const Redirection redirection;

} // namespace

} // namespace LumTests
