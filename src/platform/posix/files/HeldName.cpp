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

bool isRegular(const std::string& path, struct stat& status)
{
    return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

} // namespace

HeldName::HeldName(const std::string& path)
{
    constexpr int kAttempts = 100;
    for (int attempt = 0; attempt < kAttempts && !Hold(path); ++attempt) {
        LetGo();
    }
}

HeldName::~HeldName()
{
    LetGo();
}

bool HeldName::Hold(const std::string& path)
{
    // Looked at before it is opened: to open a device may do something.
    struct stat named = {};
    if (!isRegular(path, named)) {
        return true;
    }
    descriptor = openNoLink(path);
    if (descriptor < 0) {
        return true;
    }
    deletion.emplace(descriptor);
    struct stat held = {};
    return fstat(descriptor, &held) == 0 && isRegular(path, named) && IsSameFile(held, named);
}

void HeldName::LetGo()
{
    deletion.reset();
    if (const int closed = std::exchange(descriptor, -1); closed >= 0) {
        close(closed);
    }
}

} // namespace LumPlatform
