#pragma once

#include "common/utils/ILumUtilsLoggerDelegate.h"
#include "common/utils/LumFormattingLoggerDelegate.h"

#include <cstdarg>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace LumTests {

/// One call of a logger delegate.
struct LogRecord {
    LumUtils::LumLogLevel level;
    std::string file;
    std::string function;
    /// The format as it was passed.
    std::string format;
    unsigned int line;
    /// The format with its values.
    std::string message;
    std::thread::id thread;
};

/// A logger delegate that keeps every record; it may be called from several threads at once.
class RecordingLogger : public LumUtils::ILumUtilsLoggerDelegate {
public:
    void logFatal(const std::string& file, const std::string& function, const std::string& format, unsigned int line,
                  ...) override;
    void logError(const std::string& file, const std::string& function, const std::string& format, unsigned int line,
                  ...) override;
    void logWarning(const std::string& file, const std::string& function, const std::string& format, unsigned int line,
                    ...) override;
    void logInfo(const std::string& file, const std::string& function, const std::string& format, unsigned int line,
                 ...) override;
    void logVerbose(const std::string& file, const std::string& function, const std::string& format, unsigned int line,
                    ...) override;
    void logAOL(const std::string& file, const std::string& function, const std::string& format, unsigned int line,
                ...) override;

    std::vector<LogRecord> records() const;

    /// The records of one level, in the order in which they came.
    std::vector<LogRecord> recordsOfLevel(LumUtils::LumLogLevel level) const;

    void clear();

private:
    void keep(LumUtils::LumLogLevel level, const std::string& file, const std::string& function,
              const std::string& format, unsigned int line, va_list values);

    mutable std::mutex mutex;
    std::vector<LogRecord> kept;
};

/// Whether the record's file is the given one, whatever folder and separator stand before it:
/// endsWithPath(record.file, "src/common/utils/LumError.cpp").
bool endsWithPath(const std::string& file, const std::string& suffix);

} // namespace LumTests
