#include "support/AllocationLimit.h"

#include "common/utils/LumTextUtils.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

#include <windows.h>

/// The module has an operator new of its own, which asks the system's runtime for memory. So that a test's limits hold
/// for it too, its calls to malloc are sent here.

namespace LumTests {

namespace {

constexpr const char* kModuleName = "liblumutilsWinCli.dll";

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

template <typename Type>
const Type* at(const char* base, std::size_t offset)
{
    return reinterpret_cast<const Type*>(base + offset);
}

/// The slot through which the module calls a function of another library; null if it does not.
void** findImport(const char* base, const char* function)
{
    const auto* const headers =
        at<IMAGE_NT_HEADERS>(base, static_cast<std::size_t>(at<IMAGE_DOS_HEADER>(base, 0)->e_lfanew));
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (const auto* library = at<IMAGE_IMPORT_DESCRIPTOR>(base, directory.VirtualAddress); library->Name != 0;
         ++library) {
        const auto* const names = at<IMAGE_THUNK_DATA>(base, library->OriginalFirstThunk);
        const auto* const slots = at<IMAGE_THUNK_DATA>(base, library->FirstThunk);
        for (std::size_t index = 0; names[index].u1.AddressOfData != 0; ++index) {
            const auto* const name =
                at<IMAGE_IMPORT_BY_NAME>(base, static_cast<std::size_t>(names[index].u1.AddressOfData));
            if (!IMAGE_SNAP_BY_ORDINAL(names[index].u1.Ordinal) && std::strcmp(name->Name, function) == 0) {
                return reinterpret_cast<void**>(const_cast<IMAGE_THUNK_DATA*>(&slots[index]));
            }
        }
    }
    return nullptr;
}

struct Redirection {
    Redirection()
    {
        const auto* const base = reinterpret_cast<const char*>(GetModuleHandleA(kModuleName));
        void** const slot = base == nullptr ? nullptr : findImport(base, "malloc");
        DWORD protection = 0;
        if (slot == nullptr || !VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection)) {
            throw std::runtime_error("the module's calls to malloc are not found");
        }
        *slot = reinterpret_cast<void*>(&allocateForModule);
        VirtualProtect(slot, sizeof(*slot), protection, &protection);
        LumUtils::trimString(std::string(kLearntSize - 1, 'x'));
        if (callInOperatorNew == nullptr) {
            throw std::runtime_error("the module's operator new is not found");
        }
    }
};

const Redirection redirection;

} // namespace

} // namespace LumTests
