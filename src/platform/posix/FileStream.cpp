#include "platform/LumFileStream.h"

#include "platform/LumRuntime.h"
#include "platform/posix/Retried.h"
#include "platform/posix/files/SharedOpen.h"

#include <cerrno>
#include <new>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace LumPlatform {

namespace {

constexpr FileUse kSharesAll = {true, true, false};

int openForReading(const std::string& path, struct stat& status)
{
    return OpenShared(path, {O_RDONLY, false, {true, false, false}, kSharesAll, ShareMode::Without::GoesOn}, status);
}

/// A file must not be emptied before the share modes of others have been looked at. A device or a FIFO has none, and
/// would be used otherwise if it were opened for reading too, as the marks of a share mode need it.
int openForWriting(const std::string& path, struct stat& status)
{
    constexpr FileUse kWrites = {false, true, false};
    if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        return Retried([&] { return ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); });
    }
    const auto openFor = [&](int use) {
        return OpenShared(path, {use, true, kWrites, kSharesAll, ShareMode::Without::GoesOn}, status);
    };
    const int descriptor = openFor(O_RDWR);
    return descriptor < 0 && errno == EACCES ? openFor(O_WRONLY) : descriptor;
}

bool emptied(int descriptor, const struct stat& status)
{
    return !S_ISREG(status.st_mode) || Retried([&] { return ftruncate(descriptor, 0); }) == 0;
}

} // namespace

FileStream::~FileStream()
{
    close();
}

bool FileStream::open(const std::string& path, Mode mode)
{
    struct stat status = {};
    try {
        const std::string streamPath = StreamPath(path);
        descriptor = mode == Mode::Read ? openForReading(streamPath, status) : openForWriting(streamPath, status);
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
    }
    if (descriptor < 0) {
        return false;
    }
    fileSize = status.st_size;
    if (mode == Mode::Read ? takeSize() : emptied(descriptor, status)) {
        return true;
    }
    const int reason = errno;
    close();
    errno = reason;
    return false;
}

bool FileStream::takeSize()
{
    if (fileSize == 0) {
        // Devices, and files that make up their content as they are read, have this size whatever they hold. An empty
        // file, and a device that has an end, is one in which the end can be gone to; a FIFO is none.
        fileSize = lseek(descriptor, 0, SEEK_END);
        return fileSize >= 0 && lseek(descriptor, 0, SEEK_SET) == 0;
    }
    return true;
}

std::int64_t FileStream::size()
{
    return fileSize;
}

std::int64_t FileStream::read(char* buffer, std::size_t size)
{
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = Retried([&] { return ::read(descriptor, buffer + done, size - done); });
        if (count < 0) {
            return -1;
        }
        if (count == 0) {
            break;
        }
        done += static_cast<std::size_t>(count);
    }
    return static_cast<std::int64_t>(done);
}

bool FileStream::write(const char* data, std::size_t size)
{
    return WriteAll(descriptor, data, size);
}

bool FileStream::close()
{
    const int closed = std::exchange(descriptor, -1);
    // The descriptor is gone even if a signal interrupted the call.
    return closed < 0 || CloseShared(closed) == 0 || errno == EINTR;
}

} // namespace LumPlatform
