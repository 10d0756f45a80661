#pragma once

#include <filesystem>

namespace LumTestServer {

/// A new folder that is removed with all that is in it.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    const std::filesystem::path& Path() const { return path; }

private:
    std::filesystem::path path;
};

} // namespace LumTestServer
