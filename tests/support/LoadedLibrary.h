#pragma once

#include <string>

namespace LumTests {

/// A library that this program loads as a host's plug-in is loaded. Nobody but the caller of close() unloads it.
///
///     LoadedLibrary library(LUM_SHARED_LIBRARY);
///     const auto bits = library.function<std::int32_t(LUM_CDECL*)()>("LumCliGetPointerBits");
class LoadedLibrary {
public:
    explicit LoadedLibrary(const std::string& path);

    bool isLoaded() const { return library != nullptr; }

    /// The function of that name, or null.
    template <typename Function>
    Function function(const char* name) const
    {
        return reinterpret_cast<Function>(address(name));
    }

    /// Lets go of it. Whether the system had nothing against that; it may keep it all the same.
    bool close() const;

private:
    void* address(const char* name) const;

    void* library;
};

} // namespace LumTests
