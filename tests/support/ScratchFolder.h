#pragma once

#include <string>

namespace LumTests {

/// A new, empty folder below the system's temporary one, removed with all it holds when the object goes.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    /// The folder's path, with the system's own separators and none at its end.
    const std::string& path() const { return folder; }

    /// The path of a file in it, joined by a backslash, as the library's callers do.
    std::string file(const std::string& name) const { return folder + "\\" + name; }

private:
    std::string folder;
};

} // namespace LumTests
