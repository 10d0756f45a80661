#include "support/LoadedLibrary.h"

#include <windows.h>

namespace LumTests {

LoadedLibrary::LoadedLibrary(const std::string& path) : library(LoadLibraryA(path.c_str())) {}

bool LoadedLibrary::close() const
{
    return FreeLibrary(static_cast<HMODULE>(library)) != 0;
}

void* LoadedLibrary::address(const char* name) const
{
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

} // namespace LumTests
