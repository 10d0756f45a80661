#include "platform/LumRuntime.h"

#include "platform/posix/files/HeldName.h"
#include "platform/posix/files/MovedFile.h"
#include "platform/posix/files/SharedOpen.h"

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

int failWith(int error)
{
    errno = error;
    return -1;
}

/// Where a file that is open stands in the way, the reference platform's calls leave EACCES.
int failOn(const HeldName& name)
{
    return failWith(name.Error() == EBUSY ? EACCES : name.Error());
}

int renameToFreeName(const std::string& from, const std::string& to)
{
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return -1;
    }
    // The file system cannot do it in one step, so another process may take the new name in between.
    struct stat status = {};
    return lstat(to.c_str(), &status) == 0 ? failWith(EEXIST) : std::rename(from.c_str(), to.c_str());
}

/// Whether both paths name one thing that is there.
bool areNamesOfOne(const std::string& from, const std::string& to)
{
    struct stat one = {};
    struct stat other = {};
    return lstat(from.c_str(), &one) == 0 && lstat(to.c_str(), &other) == 0 && IsSameFile(one, other);
}

} // namespace

int Stat(const std::string& path)
{
    struct stat status = {};
    return ofPath(stat(StreamPath(path).c_str(), &status));
}

int Remove(const std::string& path)
{
    const std::string name = StreamPath(path);
    const HeldName held(name);
    // Not std::remove, which would delete an empty directory too.
    return ofPath(held.Error() == 0 ? unlink(name.c_str()) : failOn(held));
}

int Rename(const std::string& oldPath, const std::string& newPath)
{
    const std::string from = StreamPath(oldPath);
    const std::string to = StreamPath(newPath);
    const HeldName held(from);
    if (held.Error() != 0) {
        return ofPath(failOn(held));
    }
    int result = renameToFreeName(from, to);
    if (result != 0 && errno == EEXIST) {
        result = areNamesOfOne(from, to) ? 0 : failWith(EEXIST);
    } else if (result != 0 && errno == EXDEV && held.Descriptor() >= 0) {
        result = MoveAcross(held.Descriptor(), from, to);
    }
    return ofPath(result);
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
