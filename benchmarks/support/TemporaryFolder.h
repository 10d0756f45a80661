#pragma once

#include <filesystem>
#include <string>

namespace LumLocalServer {

/// A new folder below the system's temporary one, removed with all it holds when the object goes.
class TemporaryFolder {
public:
    /// The folder's name begins with the prefix. Throws std::system_error if it cannot be created.
    explicit TemporaryFolder(const std::string& prefix);
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& Path() const { return path; }

    /// Removes the folder now; harmless if it is gone.
    void Remove();

private:
    std::filesystem::path path;
};

} // namespace LumLocalServer
