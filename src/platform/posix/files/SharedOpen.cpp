#include "platform/posix/files/SharedOpen.h"

#include "platform/posix/Retried.h"
#include "platform/posix/files/RecordLock.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

namespace LumPlatform {

namespace {

using Clock = std::chrono::steady_clock;

/// How often a path may come to name another file while it is being opened.
constexpr int kAttempts = 100;

bool isRegular(const std::string& path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

/// An open that must not wait for the other end of a FIFO fails at once for a lease too; a lease is waited for here.
int openWithoutLease(const std::string& path, int flags)
{
    constexpr mode_t kWhatTheMaskAllows = 0666;
    // The system takes a lease away after 45 seconds, unless it has been told otherwise.
    constexpr std::chrono::seconds kLongest(60);
    constexpr std::chrono::milliseconds kLongestPause(10);
    const Clock::time_point end = Clock::now() + kLongest;
    std::chrono::milliseconds pause(1);
    for (;;) {
        const int descriptor = Retried([&] { return open(path.c_str(), flags, kWhatTheMaskAllows); });
        if (descriptor >= 0 || errno != EWOULDBLOCK || !isRegular(path) || Clock::now() > end) {
            return descriptor;
        }
        std::this_thread::sleep_for(pause);
        pause = std::min(2 * pause, kLongestPause);
    }
}

int openOrMake(const std::string& path, const SharedOpen& how)
{
    const int flags = how.flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    // In a directory that all share the system may refuse O_CREAT for files of others that are there.
    const int descriptor = openWithoutLease(path, flags);
    return descriptor < 0 && errno == ENOENT && how.makes ? openWithoutLease(path, flags | O_CREAT) : descriptor;
}

/// 0 if the open may stay; ESTALE if the path names another file by now; else why not.
int admit(int descriptor, const std::string& path, const SharedOpen& how, struct stat& status)
{
    if (fstat(descriptor, &status) != 0) {
        return errno;
    }
    if (S_ISDIR(status.st_mode)) {
        return EISDIR;
    }
    if (!S_ISREG(status.st_mode)) {
        return how.without == ShareMode::Without::GoesOn ? 0 : ENOTSUP;
    }
    if (how.without == ShareMode::Without::Fails && !HasEnd(descriptor, status)) {
        return ENOTSUP;
    }
    if (const int error = ShareMode::Enter(descriptor, how.uses, how.shared, how.without)) {
        return error;
    }
    const struct stat opened = status;
    return stat(path.c_str(), &status) == 0 && IsSameFile(opened, status) ? 0 : ESTALE;
}

} // namespace

int OpenShared(const std::string& path, const SharedOpen& how, struct stat& status)
{
    int error = ESTALE;
    for (int attempt = 0; attempt < kAttempts && error == ESTALE; ++attempt) {
        const int descriptor = openOrMake(path, how);
        if (descriptor < 0) {
            return -1;
        }
        error = admit(descriptor, path, how, status);
        if (error == 0) {
            return descriptor;
        }
        CloseShared(descriptor);
    }
    errno = error == ESTALE ? EBUSY : error;
    return -1;
}

int CloseShared(int descriptor)
{
    RecordLock::Release(descriptor, 0, ShareMode::kWholeRange);
    return close(descriptor);
}

bool HasEnd(int descriptor, const struct stat& status)
{
    return (S_ISREG(status.st_mode) && status.st_size != 0) || lseek(descriptor, 0, SEEK_END) >= 0;
}

bool IsSameFile(const struct stat& one, const struct stat& other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

} // namespace LumPlatform
