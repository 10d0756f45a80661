#pragma once

#include "common/utils/LumErrorNames.h"

#include <string>

namespace LumStorage {

/// The domain of the file manager's errors.
static const std::string LumStorageErrorDomain = LumUtils::LumErrorNames::kStorageDomain;

/// The codes of that domain, set by the operations of LumFileManager that lock. Each error carries the platform's
/// number and the whole message in its user information; one that is reported for lack of memory may have the number
/// alone. 0 means no error; 2 and 3 are not used.
namespace LumStorageErrorCode {

constexpr int kNone = 0;

/// Read and write: the file could not be opened, also because another open of it denies it.
constexpr int kOpenFailed = 1;

/// Read and write: the lock could not be taken. A read does not wait for it, so somebody else may hold it.
constexpr int kLockFailed = 4;

/// Read: the read failed, or fewer bytes came than the file's size, or there is no memory for them.
constexpr int kReadFailed = 5;

/// Write: the write failed, or fewer bytes were written than given, or more were given than one write takes.
constexpr int kWriteFailed = 6;

/// Write: the lock could not be released. It stands for a failed write too, if that was followed by this.
constexpr int kUnlockFailed = 7;

/// Read: the file's size could not be found. On Linux that is so of files of 4 GiB and more.
constexpr int kSizeFailed = 8;

/// Write: the position could not be set to the start of the file, which is unchanged.
constexpr int kSeekFailed = 9;

/// Write: the file could not be truncated.
constexpr int kTruncateFailed = 10;

} // namespace LumStorageErrorCode

} // namespace LumStorage
