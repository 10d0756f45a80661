#pragma once

#include "common/utils/ILumUtilsLoggerDelegate.h"

#include <cstdarg>
#include <vector>

namespace LumUtils {

/// The levels of a log record, most severe first.
enum class LumLogLevel : int { Fatal = 0, Error = 1, Warning = 2, Info = 3, Verbose = 4, AOL = 5 };

/// A printf-style format and its values as text: the message followed by one NUL, never truncated. Empty if the format
/// cannot be formatted. The list is copied, so the caller may go on using it.
std::vector<char> getVarArgsFormattedBuffer(const std::string& format, va_list args);

/// A logger delegate that formats each record and hands it on as one finished message.
///
///     class ConsoleLogger : public LumUtils::LumFormattingLoggerDelegate {
///         void writeRecord(LumUtils::LumLogLevel level, const std::string& file, const std::string& function,
///                          const std::string& message, unsigned int line) override
///         {
///             std::cerr << function << ':' << line << ' ' << message << '\n';
///         }
///     };
///
/// A record whose format cannot be formatted is dropped.
class LumFormattingLoggerDelegate : public ILumUtilsLoggerDelegate {
public:
    void logFatal(const std::string& file, const std::string& function, const std::string& format, unsigned int line,
                  ...) final;
    void logError(const std::string& file, const std::string& function, const std::string& format, unsigned int line,
                  ...) final;
    void logWarning(const std::string& file, const std::string& function, const std::string& format, unsigned int line,
                    ...) final;
    void logInfo(const std::string& file, const std::string& function, const std::string& format, unsigned int line,
                 ...) final;
    void logVerbose(const std::string& file, const std::string& function, const std::string& format, unsigned int line,
                    ...) final;
    void logAOL(const std::string& file, const std::string& function, const std::string& format, unsigned int line,
                ...) final;

    /// Formats and writes one record of the given level. A level outside 0 to 5 writes nothing.
    void logFormatted(LumLogLevel level, const std::string& file, const std::string& function,
                      const std::string& format, unsigned int line, va_list values);

private:
    /// Receives each record; called on whatever thread logs, several at once.
    virtual void writeRecord(LumLogLevel level, const std::string& file, const std::string& function,
                             const std::string& message, unsigned int line) = 0;
};

} // namespace LumUtils
