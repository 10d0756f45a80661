#pragma once

#include "Windows/Cli/utils/ManagedHandle.h"
#include "common/utils/LumFormattingLoggerDelegate.h"

namespace LumUtilsCli {

/// The native logger delegate that forwards to a managed ILumUtilsLoggerDelegateCli: it formats each record and calls
/// the managed operation of the record's level.
///
///     auto logger = std::make_shared<LumUtilsCli::LumUtilsLoggerDelegateCliAdapter>(managedLogger);
///     const LumNetworking::WinHttpClientAsync client(logger);
///
/// File, function and message go over up to their first NUL, whatever their length; what is not valid text in them is
/// replaced. A record that cannot be formatted is dropped, and so is one for a managed half that has gone. Nothing is
/// filtered.
///
/// It keeps the managed object alive. Records may come on several threads at once, and then reach the managed object at
/// once. What the managed operation throws propagates to the code that logged, as ManagedException; with the null
/// reference every record ends so.
class LumUtilsLoggerDelegateCliAdapter : public LumUtils::LumFormattingLoggerDelegate {
public:
    /// The levels as the managed half numbers them, in the order of the operations.
    enum class LogLevel : std::int32_t { fatal = 0, error = 1, warning = 2, info = 3, verbose = 4, AOL = 5 };

    /// The reference may be null. Throws ManagedException if no handle can be made.
    explicit LumUtilsLoggerDelegateCliAdapter(const ManagedReference& managedLogger);

private:
    void writeRecord(LumUtils::LumLogLevel level, const std::string& file, const std::string& function,
                     const std::string& message, unsigned int line) override;
    void logMessage(LogLevel level, const std::string& fileName, const std::string& functionName,
                    unsigned int lineNumber, const std::string& message) const;

    ManagedHandle logger;
};

} // namespace LumUtilsCli
