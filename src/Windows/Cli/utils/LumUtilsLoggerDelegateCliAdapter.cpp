#include "Windows/Cli/utils/LumUtilsLoggerDelegateCliAdapter.h"

#include "Windows/Cli/utils/ManagedException.h"
#include "Windows/Cli/utils/ManagedText.h"

namespace LumUtilsCli {

namespace {

using LogLevel = LumUtilsLoggerDelegateCliAdapter::LogLevel;

constexpr bool isSameLevel(LogLevel level, LumUtils::LumLogLevel native)
{
    return static_cast<int>(level) == static_cast<int>(native);
}

static_assert(isSameLevel(LogLevel::fatal, LumUtils::LumLogLevel::Fatal), "one numbering");
static_assert(isSameLevel(LogLevel::error, LumUtils::LumLogLevel::Error), "one numbering");
static_assert(isSameLevel(LogLevel::warning, LumUtils::LumLogLevel::Warning), "one numbering");
static_assert(isSameLevel(LogLevel::info, LumUtils::LumLogLevel::Info), "one numbering");
static_assert(isSameLevel(LogLevel::verbose, LumUtils::LumLogLevel::Verbose), "one numbering");
static_assert(isSameLevel(LogLevel::AOL, LumUtils::LumLogLevel::AOL), "one numbering");

} // namespace

LumUtilsLoggerDelegateCliAdapter::LumUtilsLoggerDelegateCliAdapter(const ManagedReference& managedLogger)
    : logger(managedLogger)
{
}

void LumUtilsLoggerDelegateCliAdapter::writeRecord(LumUtils::LumLogLevel level, const std::string& file,
                                                   const std::string& function, const std::string& message,
                                                   unsigned int line)
{
    logMessage(static_cast<LogLevel>(level), file, function, line, message);
}

void LumUtilsLoggerDelegateCliAdapter::logMessage(LogLevel level, const std::string& fileName,
                                                  const std::string& functionName, unsigned int lineNumber,
                                                  const std::string& message) const
{
    const LumCliHostTable& host = logger.Host();
    const HostCall inside(host);
    if (!inside.IsLetIn()) {
        return;
    }
    const ManagedText file = ManagedText::Decode(fileName.c_str());
    const ManagedText function = ManagedText::Decode(functionName.c_str());
    const ManagedText text = ManagedText::Decode(message.c_str());
    const LumCliLogRecord record{static_cast<std::int32_t>(level), lineNumber, file.View(), function.View(),
                                 text.View()};
    rethrowManaged(host, host.log(logger.Get(), &record));
}

} // namespace LumUtilsCli
