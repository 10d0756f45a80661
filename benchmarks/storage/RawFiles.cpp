#include "RawFiles.h"

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace LumBench::RawFiles {

namespace {

void require(bool isDone, const char* what)
{
    if (!isDone) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

/// Keeps the compiler from leaving out what fills the memory.
void use(const void* memory)
{
    asm volatile("" : : "r"(memory) : "memory");
}

void readAll(int file, char* content, std::size_t size)
{
    for (std::size_t done = 0; done < size;) {
        const ssize_t count = read(file, content + done, size - done);
        require(count > 0, "read");
        done += static_cast<std::size_t>(count);
    }
}

void writeAll(int file, const std::string& content)
{
    for (std::size_t done = 0; done < content.size();) {
        const ssize_t count = write(file, content.data() + done, content.size() - done);
        require(count > 0, "write");
        done += static_cast<std::size_t>(count);
    }
}

/// open, fstat, read into what `makeRoom` gives for the size, close.
template <typename MakeRoom>
void readInto(const std::string& path, MakeRoom makeRoom)
{
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    require(file >= 0, "open");
    struct stat status = {};
    require(fstat(file, &status) == 0, "fstat");
    const auto size = static_cast<std::size_t>(status.st_size);
    readAll(file, makeRoom(size), size);
    require(close(file) == 0, "close");
}

int callLock(int file, int command, int type, long long start, long long length)
{
    struct flock lock = {};
    lock.l_type = static_cast<short>(type);
    lock.l_whence = SEEK_SET;
    lock.l_start = start;
    lock.l_len = length;
    return fcntl(file, command, &lock);
}

constexpr long long kMarks = (1LL << 62) + 1;

/// What a share mode takes: place marks, look for those of others, and see that the path names the file.
void enter(int file, const std::string& path, struct stat& status)
{
    require(fstat(file, &status) == 0, "fstat");
    require(callLock(file, F_OFD_SETLK, F_RDLCK, kMarks, 2) == 0, "place");
    require(callLock(file, F_OFD_GETLK, F_WRLCK, kMarks + 4, 2) == 0, "look");
    require(stat(path.c_str(), &status) == 0, "stat");
}

void leave(int file)
{
    require(callLock(file, F_OFD_SETLK, F_UNLCK, 0, kMarks + 6) == 0, "release");
    require(close(file) == 0, "close");
}

int openShared(const std::string& path, int use, struct stat& status)
{
    const int file = open(path.c_str(), use | O_CLOEXEC);
    require(file >= 0, "open");
    enter(file, path, status);
    return file;
}

} // namespace

void ReadVector(const std::string& path)
{
    std::vector<char> content;
    readInto(path, [&](std::size_t size) {
        content.resize(size);
        return content.data();
    });
    use(content.data());
}

void ReadBare(const std::string& path)
{
    std::unique_ptr<char[]> content;
    readInto(path, [&](std::size_t size) {
        content.reset(new char[size]);
        return content.get();
    });
    use(content.get());
}

void Write(const std::string& path, const std::string& content)
{
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    require(file >= 0, "open");
    writeAll(file, content);
    require(close(file) == 0, "close");
}

void ReadShared(const std::string& path)
{
    struct stat status = {};
    const int file = openShared(path, O_RDONLY, status);
    std::vector<char> content(static_cast<std::size_t>(status.st_size));
    readAll(file, content.data(), content.size());
    use(content.data());
    leave(file);
}

void WriteShared(const std::string& path, const std::string& content)
{
    struct stat status = {};
    const int file = openShared(path, O_RDWR, status);
    require(ftruncate(file, 0) == 0, "ftruncate");
    writeAll(file, content);
    leave(file);
}

void WriteLocked(const std::string& path, const std::string& content)
{
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
    require(file >= 0, "open");
    require(flock(file, LOCK_EX | LOCK_NB) == 0, "flock");
    struct stat status = {};
    enter(file, path, status);
    require(flock(file, LOCK_UN) == 0, "flock");
    require(ftruncate(file, 0) == 0, "ftruncate");
    require(callLock(file, F_OFD_SETLKW, F_WRLCK, 0, kMarks - 1) == 0, "lock");
    writeAll(file, content);
    require(callLock(file, F_OFD_SETLK, F_UNLCK, 0, kMarks - 1) == 0, "unlock");
    leave(file);
}

void StreamRead(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    require(file && content, "stream");
    use(&content);
}

void StreamWrite(const std::string& path, const std::string& content)
{
    std::ofstream file(path, std::ios::binary);
    file << content << std::flush;
    require(file.good(), "stream");
}

void StreamCopy(const std::string& source, const std::string& destination)
{
    std::ifstream from(source, std::ios::binary);
    std::ofstream to(destination, std::ios::binary);
    to << from.rdbuf() << std::flush;
    require(from && to, "stream");
}

void CommandCopy(const std::string& source, const std::string& destination)
{
    std::string words[] = {"cp", source, destination};
    char* const arguments[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    pid_t process = -1;
    errno = posix_spawnp(&process, "cp", nullptr, nullptr, arguments, environ);
    require(errno == 0, "cp");
    int status = -1;
    require(waitpid(process, &status, 0) == process && status == 0, "cp");
}

} // namespace LumBench::RawFiles
