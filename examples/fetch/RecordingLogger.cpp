#include "RecordingLogger.h"

namespace LumFetch {

std::vector<LogRecord> RecordingLogger::Records() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return records;
}

void RecordingLogger::writeRecord(LumUtils::LumLogLevel level, const std::string& /*file*/, const std::string& function,
                                  const std::string& message, unsigned int line)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    records.push_back({elapsed.count(), level, function, message, line});
}

std::string LogLevelName(LumUtils::LumLogLevel level)
{
    switch (level) {
    case LumUtils::LumLogLevel::Fatal:
        return "Fatal";
    case LumUtils::LumLogLevel::Error:
        return "Error";
    case LumUtils::LumLogLevel::Warning:
        return "Warning";
    case LumUtils::LumLogLevel::Info:
        return "Info";
    case LumUtils::LumLogLevel::Verbose:
        return "Verbose";
    case LumUtils::LumLogLevel::AOL:
        return "AOL";
    }
    return "level " + std::to_string(static_cast<int>(level));
}

} // namespace LumFetch
