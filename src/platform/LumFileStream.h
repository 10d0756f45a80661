#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace LumPlatform {

/// A whole-file stream of bytes on the runtime's narrow file functions, for reading from the start or for writing over
/// what was there:
///
///     LumPlatform::FileStream file;
///     if (file.open("C:\\Temp\\a.txt", LumPlatform::FileStream::Mode::Read)) {
///         const std::int64_t size = file.size();
///     }
///
/// It is not buffered: callers read and write much at a time. Its operations do not throw; after a failure errno says
/// why. Child processes do not inherit it. A directory cannot be opened, nor a FIFO for reading; opening waits for
/// nothing but the lease of another process, and writing to a FIFO fails where it would wait.
///
/// A stream takes part in share modes: it lets others read and write the file, not delete or rename it, and it is not
/// opened where another open denies what it does.
///
/// An object may be used by one thread at a time.
class FileStream {
public:
    /// WriteText makes a line feed into what ends a line on the system.
    enum class Mode { Read, WriteText, WriteBinary };

    FileStream() = default;
    ~FileStream();
    FileStream(const FileStream&) = delete;
    FileStream& operator=(const FileStream&) = delete;

    /// Opens the file, once per stream. For writing it is made or emptied.
    bool open(const std::string& path, Mode mode);

    /// The size of the file in bytes, as it was when the file was opened for reading; -1 if that cannot be told.
    std::int64_t size();

    /// Reads on: the count, which is less than `size` only at the end of the file; -1 on failure.
    std::int64_t read(char* buffer, std::size_t size);

    /// Writes all of it, or fails.
    bool write(const char* data, std::size_t size);

    /// Closes the file. False if what was written may not have been kept.
    bool close();

private:
    /// Takes the size of what was opened for reading. False if it is nothing that has a start and an end.
    bool takeSize();

    int descriptor = -1;
    std::int64_t fileSize = 0;
};

} // namespace LumPlatform
