#include "platform/posix/files/MovedFile.h"

#include "platform/posix/Retried.h"
#include "platform/posix/files/SharedOpen.h"

#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace LumPlatform {

namespace {

constexpr std::size_t kStep = std::size_t{128} * 1024;

bool copyContent(int source, int target, std::vector<char>& buffer)
{
    off_t offset = 0;
    for (;;) {
        const ssize_t count = Retried([&] { return pread(source, buffer.data(), buffer.size(), offset); });
        if (count <= 0) {
            return count == 0;
        }
        if (!WriteAll(target, buffer.data(), static_cast<std::size_t>(count))) {
            return false;
        }
        offset += count;
    }
}

bool copyAttributes(int source, int target)
{
    constexpr mode_t kPermissions = 07777;
    struct stat status = {};
    if (fstat(source, &status) != 0) {
        return false;
    }
    // Before the permissions, of which it may take some away. Most users may not give files away.
    const bool isGiven = fchown(target, status.st_uid, status.st_gid) == 0;
    constexpr mode_t kOfTheOwnerOnly = S_ISUID | S_ISGID;
    const mode_t permissions = status.st_mode & kPermissions & ~(isGiven ? 0U : kOfTheOwnerOnly);
    const struct timespec times[] = {status.st_atim, status.st_mtim};
    return fchmod(target, permissions) == 0 && futimens(target, times) == 0;
}

} // namespace

int MoveAcross(int source, const std::string& from, const std::string& to)
{
    std::vector<char> buffer(kStep);
    // Nobody is to open what is not whole.
    constexpr mode_t kForTheOwner = 0600;
    const int target =
        Retried([&] { return open(to.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOCTTY, kForTheOwner); });
    if (target < 0) {
        return -1;
    }
    const int error = ShareMode::Enter(target, {false, true, false}, {}, ShareMode::Without::GoesOn);
    // What a crash of the system leaves must be one whole file at least.
    const bool isMoved = error == 0 && copyContent(source, target, buffer) && copyAttributes(source, target) &&
                         fsync(target) == 0 && unlink(from.c_str()) == 0;
    const int reason = error != 0 ? error : errno;
    if (!isMoved) {
        unlink(to.c_str());
    }
    CloseShared(target);
    errno = reason;
    return isMoved ? 0 : -1;
}

} // namespace LumPlatform
