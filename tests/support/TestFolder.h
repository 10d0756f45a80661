#pragma once

#include "support/ScratchFolder.h"

#include <filesystem>
#include <string>

namespace LumTests {

/// A scratch folder with files in it.
class TestFolder : public ScratchFolder {
public:
    /// As file().
    std::string operator/(const std::string& name) const { return file(name); }

    std::filesystem::path where() const { return path(); }

    /// Writes a file, byte for byte, and gives its path.
    std::string add(const std::string& name, const std::string& content) const;

    /// A file's content, byte for byte; "(none)" if there is no such file.
    std::string contentOf(const std::string& name) const;
};

} // namespace LumTests
