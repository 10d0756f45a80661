#pragma once

#include <set>
#include <string>

#include <windows.h>

namespace LumTests {

/// A module as the loader has brought it into the process.
class ModuleImage {
public:
    /// The name of a loaded module, as in "liblumutilsWinCli.dll". Throws if there is none.
    explicit ModuleImage(const char* name);

    std::string path() const;
    std::set<std::string> importedLibraries() const;
    std::set<std::string> exportedNames() const;

    /// The IMAGE_DLLCHARACTERISTICS_ flags.
    unsigned characteristics() const;

    /// One of the texts of the version resource, as in "FileVersion"; empty if there is none.
    std::string versionText(const std::string& name) const;

    /// The number of the version resource, as in "1.2.3.0".
    std::string versionNumber() const;

private:
    template <typename Type>
    const Type* at(std::size_t offset) const
    {
        return reinterpret_cast<const Type*>(reinterpret_cast<const char*>(module) + offset);
    }
    const IMAGE_OPTIONAL_HEADER& header() const;
    std::string versionResource() const;

    HMODULE module;
};

/// The sections of a module's file. Their long names are not brought into the process.
std::set<std::string> sectionsOfFile(const std::string& path);

} // namespace LumTests
