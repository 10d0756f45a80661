#include "platform/LumFileStream.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

namespace LumPlatform {

namespace {

/// One call of the runtime counts in int.
unsigned int atMost(std::size_t size)
{
    return static_cast<unsigned int>(std::min(size, std::size_t{1} << 30U));
}

} // namespace

FileStream::~FileStream()
{
    close();
}

bool FileStream::open(const std::string& path, Mode mode)
{
    const int content = mode == Mode::WriteText ? _O_TEXT : _O_BINARY;
    const int use = mode == Mode::Read ? _O_RDONLY | _O_SEQUENTIAL : _O_WRONLY | _O_CREAT | _O_TRUNC;
    descriptor = _open(path.c_str(), use | content | _O_NOINHERIT, _S_IREAD | _S_IWRITE);
    return descriptor >= 0 && (mode != Mode::Read || takeSize());
}

bool FileStream::takeSize()
{
    fileSize = _filelengthi64(descriptor);
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
        const int count = _read(descriptor, buffer + done, atMost(size - done));
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
        const int count = _write(descriptor, data, atMost(size));
        if (count <= 0) {
            return false;
        }
        const std::size_t done = std::min(size, static_cast<std::size_t>(count));
        data += done;
        size -= done;
    }
    return true;
}

bool FileStream::close()
{
    const int closed = std::exchange(descriptor, -1);
    return closed < 0 || _close(closed) == 0;
}

} // namespace LumPlatform
