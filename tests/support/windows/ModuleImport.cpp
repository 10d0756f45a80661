#include "support/windows/ModuleImport.h"

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>

#include <windows.h>

namespace LumTests {

namespace {

constexpr const char* kModuleName = "liblumutilsWinCli.dll";

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

} // namespace

ModuleImport::ModuleImport(const char* function) : slot(nullptr)
{
    const auto* const base = reinterpret_cast<const char*>(GetModuleHandleA(kModuleName));
    slot = base == nullptr ? nullptr : findImport(base, function);
    if (slot == nullptr) {
        throw std::runtime_error(std::string("the module's calls are not found: ") + function);
    }
}

void* ModuleImport::redirect(void* target) const
{
    DWORD protection = 0;
    if (!VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection)) {
        throw std::runtime_error("the module's calls cannot be redirected");
    }
    void* const before = *slot;
    *slot = target;
    VirtualProtect(slot, sizeof(*slot), protection, &protection);
    return before;
}

} // namespace LumTests
