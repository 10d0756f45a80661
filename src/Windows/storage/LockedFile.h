#pragma once

#include "Windows/storage/FileHandle.h"
#include "common/storage/LumStorageError.h"
#include "platform/LumPlatform.h"

#include <string>
#include <vector>

namespace LumStorage {

/// What came of a step: nothing to report, or a code with the system's number and the text that tells of both. Without
/// memory the text is empty.
struct LockedFileResult {
    int code = LumStorageErrorCode::kNone;
    DWORD lastError = 0;
    std::string message;

    bool isGood() const { return code == LumStorageErrorCode::kNone; }
};

/// A file as the locked operations use it, step by step. Each step is one call of the platform, or two, whose last
/// error is taken before anything can change it. A step needs those before it; who has locked unlocks. The file is
/// closed with the object.
class LockedFile {
public:
    /// The path must outlive the object.
    explicit LockedFile(const std::string& filePath) : path(filePath) {}

    /// Whether one call can write as much; before the file is opened, which must not be emptied for what cannot be
    /// written.
    LockedFileResult checkSize(const std::string& content) const;

    /// Makes the file if it is not there. A reader shares reading and writing, a writer reading only.
    LockedFileResult openForReading();
    LockedFileResult openForWriting();

    LockedFileResult truncate();

    /// Fails at once while somebody else holds an exclusive lock.
    LockedFileResult lockShared();

    /// Waits while somebody else holds a lock.
    LockedFileResult lockExclusive();

    /// The whole file.
    LockedFileResult read(std::vector<char>& content);

    LockedFileResult write(const std::string& content);

    LockedFileResult unlock();

private:
    LockedFileResult open(DWORD share, const char* purpose);
    LockedFileResult lock(DWORD flags);
    template <typename Base>
    LockedFileResult failed(int code, Base base) const;

    const std::string& path;
    FileHandle file;
    OVERLAPPED range = {};
};

} // namespace LumStorage
