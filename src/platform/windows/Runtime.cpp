#include "platform/LumRuntime.h"

#include <cstdio>
#include <cstdlib>

#include <direct.h>
#include <sys/stat.h>
#include <sys/types.h>

namespace LumPlatform {

int Stat(const std::string& path)
{
    struct _stat64 status = {};
    return _stat64(path.c_str(), &status);
}

int Remove(const std::string& path)
{
    return std::remove(path.c_str());
}

int Rename(const std::string& oldPath, const std::string& newPath)
{
    return std::rename(oldPath.c_str(), newPath.c_str()) == 0 ? 0 : -1;
}

int MakeDirectory(const std::string& path)
{
    return _mkdir(path.c_str());
}

std::string StreamPath(const std::string& path)
{
    return path;
}

std::optional<std::string> ReadEnvironment(const std::string& name)
{
    // The runtime's call that allocates is not among those that every compiler's import libraries have.
    std::size_t size = 0;
    // Asked for the size only, runtimes differ in whether the lack of room is an error.
    getenv_s(&size, nullptr, 0, name.c_str());
    if (size == 0) {
        return std::nullopt;
    }
    std::string value(size, '\0');
    if (getenv_s(&size, value.data(), value.size(), name.c_str()) != 0 || size == 0) {
        return std::nullopt;
    }
    value.resize(size - 1);
    return value;
}

} // namespace LumPlatform
