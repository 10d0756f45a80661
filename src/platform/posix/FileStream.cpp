#include "platform/LumFileStream.h"

#include "platform/LumRuntime.h"
#include "platform/posix/Retried.h"

#include <cerrno>
#include <new>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace LumPlatform {

namespace {

/// Neither a FIFO, which may have no other end, nor a terminal is waited for or taken over.
int openFile(const std::string& path, FileStream::Mode mode)
{
    constexpr mode_t kWhatTheMaskAllows = 0666;
    const int use = mode == FileStream::Mode::Read ? O_RDONLY : O_WRONLY | O_CREAT | O_TRUNC;
    const std::string streamPath = StreamPath(path);
    return Retried(
        [&] { return ::open(streamPath.c_str(), use | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, kWhatTheMaskAllows); });
}

} // namespace

FileStream::~FileStream()
{
    close();
}

bool FileStream::open(const std::string& path, Mode mode)
{
    try {
        descriptor = openFile(path, mode);
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
    }
    if (descriptor < 0) {
        return false;
    }
    if (mode == Mode::Read && !takeSize()) {
        const int reason = errno;
        close();
        errno = reason;
        return false;
    }
    return true;
}

bool FileStream::takeSize()
{
    struct stat status = {};
    if (fstat(descriptor, &status) != 0) {
        return false;
    }
    if (S_ISDIR(status.st_mode)) {
        errno = EISDIR;
        return false;
    }
    fileSize = S_ISREG(status.st_mode) ? status.st_size : 0;
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
    while (size > 0) {
        const ssize_t count = Retried([&] { return ::write(descriptor, data, size); });
        if (count < 0) {
            return false;
        }
        data += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

bool FileStream::close()
{
    const int closed = std::exchange(descriptor, -1);
    // The descriptor is gone even if a signal interrupted the call.
    return closed < 0 || ::close(closed) == 0 || errno == EINTR;
}

} // namespace LumPlatform
