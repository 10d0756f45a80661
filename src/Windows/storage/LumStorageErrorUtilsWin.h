#pragma once

#include "common/utils/ILumUtilsLoggerDelegate.h"
#include "platform/LumPlatform.h"

#include <memory>
#include <string>

namespace LumStorage {

/// The calling thread's last system error as text, for whoever has just called the platform.
///
///     if (GetTempPathA(sizeof(buffer), buffer) == 0) {
///         LumStorage::LumStorageErrorUtilsWin::logWindowsErrorWithDelegate("GetTempPathA", logger);
///     }
///
/// The operations keep no state and run on the thread whose error they tell. Call them directly after the failure,
/// before any other platform call.
namespace LumStorageErrorUtilsWin {

/// The system's text for the last error, without white space around it, or "Unknown error code " and the number if the
/// system has none. The number goes to `codeOut`.
std::string getLastErrorMessage(DWORD& codeOut);

/// Logs at Error that the operation, the NUL-terminated name of a system call, failed with the last error:
/// "GetTempPathA failed. Error 5: Access is denied." The number is printed as signed. Without a delegate nothing is
/// logged.
void logWindowsErrorWithDelegate(const char* operation, std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate> delegate);

} // namespace LumStorageErrorUtilsWin

} // namespace LumStorage
