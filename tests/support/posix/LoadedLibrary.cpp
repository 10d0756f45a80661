#include "support/LoadedLibrary.h"

#include <dlfcn.h>

namespace LumTests {

LoadedLibrary::LoadedLibrary(const std::string& path) : library(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {}

bool LoadedLibrary::close() const
{
    return dlclose(library) == 0;
}

void* LoadedLibrary::address(const char* name) const
{
    return dlsym(library, name);
}

} // namespace LumTests
