#include "platform/LumRuntime.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace LumPlatform {

namespace {

/// The result of a call on paths. A path that leads through a file, or is longer than the system takes, leads nowhere
/// on the reference platform: its errno is ENOENT.
int ofPath(int result)
{
    if (result != 0 && (errno == ENOTDIR || errno == ENAMETOOLONG)) {
        errno = ENOENT;
    }
    return result;
}

} // namespace

int Stat(const std::string& path)
{
    struct stat status = {};
    return ofPath(stat(StreamPath(path).c_str(), &status));
}

int Remove(const std::string& path)
{
    // Not std::remove, which would delete an empty directory too.
    return ofPath(unlink(StreamPath(path).c_str()));
}

int Rename(const std::string& oldPath, const std::string& newPath)
{
    const std::string from = StreamPath(oldPath);
    const std::string to = StreamPath(newPath);
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return ofPath(-1);
    }
    // The file system cannot do it in one step, so another process may take the new name in between.
    struct stat status = {};
    if (lstat(to.c_str(), &status) == 0) {
        errno = EEXIST;
        return -1;
    }
    return ofPath(std::rename(from.c_str(), to.c_str()));
}

int MakeDirectory(const std::string& path)
{
    constexpr mode_t kWhatTheMaskAllows = 0777;
    return ofPath(mkdir(StreamPath(path).c_str(), kWhatTheMaskAllows));
}

std::string StreamPath(const std::string& path)
{
    std::string result = path;
    std::replace(result.begin(), result.end(), '\\', '/');
    return result;
}

std::optional<std::string> ReadEnvironment(const std::string& name)
{
    const char* const value = std::getenv(name.c_str());
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

} // namespace LumPlatform
