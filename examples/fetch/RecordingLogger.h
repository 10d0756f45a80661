#pragma once

#include "common/utils/LumFormattingLoggerDelegate.h"

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

namespace LumFetch {

/// A log record as the library handed it over.
struct LogRecord {
    double seconds = 0;
    LumUtils::LumLogLevel level = LumUtils::LumLogLevel::Info;
    std::string function;
    std::string message;
    unsigned int line = 0;
};

/// A log sink that keeps every record until somebody asks.
class RecordingLogger : public LumUtils::LumFormattingLoggerDelegate {
public:
    std::vector<LogRecord> Records() const;

private:
    void writeRecord(LumUtils::LumLogLevel level, const std::string& file, const std::string& function,
                     const std::string& message, unsigned int line) override;

    const std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    mutable std::mutex mutex;
    std::vector<LogRecord> records;
};

/// The level's name.
std::string LogLevelName(LumUtils::LumLogLevel level);

} // namespace LumFetch
