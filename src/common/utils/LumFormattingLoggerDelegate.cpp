#include "common/utils/LumFormattingLoggerDelegate.h"

#include <cstdio>

namespace LumUtils {

std::vector<char> getVarArgsFormattedBuffer(const std::string& format, va_list args)
{
    va_list measured;
    va_copy(measured, args);
    const int length = std::vsnprintf(nullptr, 0, format.c_str(), measured);
    va_end(measured);
    if (length < 0) {
        return {};
    }
    std::vector<char> buffer(static_cast<std::size_t>(length) + 1);
    va_list written;
    va_copy(written, args);
    std::vsnprintf(buffer.data(), buffer.size(), format.c_str(), written);
    va_end(written);
    return buffer;
}

void LumFormattingLoggerDelegate::logFormatted(LumLogLevel level, const std::string& file, const std::string& function,
                                               const std::string& format, unsigned int line, va_list values)
{
    if (level < LumLogLevel::Fatal || level > LumLogLevel::AOL) {
        return;
    }
    const std::vector<char> message = getVarArgsFormattedBuffer(format, values);
    if (message.empty()) {
        return;
    }
    writeRecord(level, file, function, std::string(message.data(), message.size() - 1), line);
}

void LumFormattingLoggerDelegate::logFatal(const std::string& file, const std::string& function,
                                           const std::string& format, unsigned int line, ...)
{
    va_list values;
    va_start(values, line);
    logFormatted(LumLogLevel::Fatal, file, function, format, line, values);
    va_end(values);
}

void LumFormattingLoggerDelegate::logError(const std::string& file, const std::string& function,
                                           const std::string& format, unsigned int line, ...)
{
    va_list values;
    va_start(values, line);
    logFormatted(LumLogLevel::Error, file, function, format, line, values);
    va_end(values);
}

void LumFormattingLoggerDelegate::logWarning(const std::string& file, const std::string& function,
                                             const std::string& format, unsigned int line, ...)
{
    va_list values;
    va_start(values, line);
    logFormatted(LumLogLevel::Warning, file, function, format, line, values);
    va_end(values);
}

void LumFormattingLoggerDelegate::logInfo(const std::string& file, const std::string& function,
                                          const std::string& format, unsigned int line, ...)
{
    va_list values;
    va_start(values, line);
    logFormatted(LumLogLevel::Info, file, function, format, line, values);
    va_end(values);
}

void LumFormattingLoggerDelegate::logVerbose(const std::string& file, const std::string& function,
                                             const std::string& format, unsigned int line, ...)
{
    va_list values;
    va_start(values, line);
    logFormatted(LumLogLevel::Verbose, file, function, format, line, values);
    va_end(values);
}

void LumFormattingLoggerDelegate::logAOL(const std::string& file, const std::string& function,
                                         const std::string& format, unsigned int line, ...)
{
    va_list values;
    va_start(values, line);
    logFormatted(LumLogLevel::AOL, file, function, format, line, values);
    va_end(values);
}

} // namespace LumUtils
