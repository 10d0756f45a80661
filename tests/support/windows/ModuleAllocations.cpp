#include "support/AllocationLimit.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include <windows.h>

/// The module has an operator new of its own, which asks the system's runtime for memory. So that a test's limits hold
/// for it too, its calls to malloc are sent here.

namespace LumTests {

namespace {

constexpr const char* kModuleName = "liblumutilsWinCli.dll";

/// An upper bound of the length of the function that makes room for exceptions.
constexpr std::uintptr_t kLengthOfAllocateException = 256;

/// The room for an exception has a reserve of its own and is no operator new.
bool isWithinAllocateException(const void* address)
{
    const auto start = reinterpret_cast<std::uintptr_t>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA(kModuleName), "__cxa_allocate_exception")));
    const auto at = reinterpret_cast<std::uintptr_t>(address);
    return at >= start && at - start < kLengthOfAllocateException;
}

void* allocateForModule(std::size_t size)
{
    if (!isWithinAllocateException(__builtin_return_address(0))) {
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
    }
};

const Redirection redirection;

} // namespace

} // namespace LumTests
