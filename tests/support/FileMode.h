#pragma once

#include "common/utils/LumTextUtils.h"
#include "platform/LumPlatform.h"

#include <ostream>
#include <string>

namespace LumTests {

/// How a file is opened, in letters: "r", "w" or "rw" for the access, any of them or "-" for what is shared.
struct FileMode {
    std::string access;
    std::string share;
};

inline std::ostream& operator<<(std::ostream& output, const FileMode& mode)
{
    return output << mode.access << " sharing " << mode.share;
}

/// The modes of the two locked operations.
inline const FileMode kReadOperation{"rw", "rw"};
inline const FileMode kWriteOperation{"rw", "r"};

/// One unit for each byte, as the library widens paths.
inline LumUtils::WideString widened(const std::string& path)
{
    LumUtils::WideString wide;
    for (const char byte : path) {
        wide += static_cast<LumUtils::WideChar>(static_cast<signed char>(byte));
    }
    return wide;
}

inline bool hasLetter(const std::string& letters, char letter)
{
    return letters.find(letter) != std::string::npos;
}

/// CreateFileW with this mode and what else the locked operations pass.
inline HANDLE openFile(const std::string& path, const FileMode& mode)
{
    const DWORD access =
        (hasLetter(mode.access, 'r') ? GENERIC_READ : 0) | (hasLetter(mode.access, 'w') ? GENERIC_WRITE : 0);
    const DWORD share =
        (hasLetter(mode.share, 'r') ? FILE_SHARE_READ : 0) | (hasLetter(mode.share, 'w') ? FILE_SHARE_WRITE : 0);
    return CreateFileW(widened(path).c_str(), access, share, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

/// LockFileEx on the whole range: shared and at once, or exclusive and with waiting.
inline BOOL lockFile(HANDLE file, bool isExclusive)
{
    OVERLAPPED overlapped = {};
    return LockFileEx(file, isExclusive ? LOCKFILE_EXCLUSIVE_LOCK : LOCKFILE_FAIL_IMMEDIATELY, 0, 0xFFFFFFFF,
                      0xFFFFFFFF, &overlapped);
}

inline BOOL unlockFile(HANDLE file)
{
    OVERLAPPED overlapped = {};
    return UnlockFileEx(file, 0, 0xFFFFFFFF, 0xFFFFFFFF, &overlapped);
}

} // namespace LumTests
