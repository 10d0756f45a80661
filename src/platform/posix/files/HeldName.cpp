#include "platform/posix/files/HeldName.h"

#include "platform/posix/Retried.h"
#include "platform/posix/files/SharedOpen.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace LumPlatform {

namespace {

int openNoLink(const std::string& path)
{
    const auto openFor = [&path](int use) {
        return Retried([&] { return open(path.c_str(), use | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); });
    };
    const int descriptor = openFor(O_RDONLY);
    // Who may write, not read, cannot place marks, but sees those of others.
    return descriptor < 0 && errno == EACCES ? openFor(O_WRONLY) : descriptor;
}

/// What a deletion fails with whose file could not be opened. ESTALE: the path has come to name a link. A file that is
/// beyond the reach of this user, in that of another process alone, or broken, is deleted all the same.
int errorOfNoOpen(int reason)
{
    switch (reason) {
    case ELOOP:
        return ESTALE;
    case ENOENT:
    case ENOTDIR:
    case EMFILE:
    case ENFILE:
    case ENOMEM:
        return reason;
    default:
        return 0;
    }
}

} // namespace

HeldName::HeldName(const std::string& path)
{
    constexpr int kAttempts = 100;
    error = Hold(path);
    for (int attempt = 1; attempt < kAttempts && error == ESTALE; ++attempt) {
        LetGo();
        error = Hold(path);
    }
}

HeldName::~HeldName()
{
    LetGo();
}

int HeldName::Hold(const std::string& path)
{
    // Looked at before it is opened: to open a device may do something.
    struct stat named = {};
    if (lstat(path.c_str(), &named) != 0) {
        return errno;
    }
    if (!S_ISREG(named.st_mode)) {
        return 0;
    }
    descriptor = openNoLink(path);
    if (descriptor < 0) {
        return errorOfNoOpen(errno);
    }
    deletion.emplace(descriptor);
    if (!deletion->IsAllowed()) {
        return EBUSY;
    }
    struct stat held = {};
    const bool isNamed = fstat(descriptor, &held) == 0 && lstat(path.c_str(), &named) == 0 && IsSameFile(held, named);
    return isNamed ? 0 : ESTALE;
}

void HeldName::LetGo()
{
    deletion.reset();
    if (const int closed = std::exchange(descriptor, -1); closed >= 0) {
        close(closed);
    }
}

} // namespace LumPlatform
