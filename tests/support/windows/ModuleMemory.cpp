#include "support/windows/ModuleMemory.h"

#include "common/utils/LumTextUtils.h"
#include "support/windows/ModuleImport.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

/// The module's operator new asks the system's runtime for memory, and its operator delete gives it back there: its
/// calls to malloc and free are sent here.

namespace LumTests {

namespace {

/// No other allocation has this size.
constexpr std::size_t kLearntSize = 54321;

ModuleAllocate allocateInstead = nullptr;

/// Where the module's operator new calls malloc. The runtime's other calls are left alone: some hold locks, and none
/// expects an exception.
const void* callInOperatorNew = nullptr;

void* allocateForModule(std::size_t size)
{
    const void* const caller = __builtin_return_address(0);
    if (callInOperatorNew == nullptr && size == kLearntSize) {
        callInOperatorNew = caller;
    }
    return caller == callInOperatorNew ? allocateInstead(size) : std::malloc(size);
}

} // namespace

void redirectModuleMemory(ModuleAllocate allocate, ModuleRelease release)
{
    allocateInstead = allocate;
    if (release != nullptr) {
        ModuleImport("free").redirect(reinterpret_cast<void*>(release));
    }
    ModuleImport("malloc").redirect(reinterpret_cast<void*>(&allocateForModule));
    LumUtils::trimString(std::string(kLearntSize - 1, 'x'));
    if (callInOperatorNew == nullptr) {
        throw std::runtime_error("the module's operator new is not found");
    }
}

} // namespace LumTests
