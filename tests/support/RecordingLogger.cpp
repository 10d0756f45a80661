#include "support/RecordingLogger.h"

#include <algorithm>
#include <iterator>

namespace LumTests {

using LumUtils::LumLogLevel;

void RecordingLogger::logFatal(const std::string& file, const std::string& function, const std::string& format,
                               unsigned int line, ...)
{
    va_list values;
    va_start(values, line);
    keep(LumLogLevel::Fatal, file, function, format, line, values);
    va_end(values);
}

void RecordingLogger::logError(const std::string& file, const std::string& function, const std::string& format,
                               unsigned int line, ...)
{
    va_list values;
    va_start(values, line);
    keep(LumLogLevel::Error, file, function, format, line, values);
    va_end(values);
}

void RecordingLogger::logWarning(const std::string& file, const std::string& function, const std::string& format,
                                 unsigned int line, ...)
{
    va_list values;
    va_start(values, line);
    keep(LumLogLevel::Warning, file, function, format, line, values);
    va_end(values);
}

void RecordingLogger::logInfo(const std::string& file, const std::string& function, const std::string& format,
                              unsigned int line, ...)
{
    va_list values;
    va_start(values, line);
    keep(LumLogLevel::Info, file, function, format, line, values);
    va_end(values);
}

void RecordingLogger::logVerbose(const std::string& file, const std::string& function, const std::string& format,
                                 unsigned int line, ...)
{
    va_list values;
    va_start(values, line);
    keep(LumLogLevel::Verbose, file, function, format, line, values);
    va_end(values);
}

void RecordingLogger::logAOL(const std::string& file, const std::string& function, const std::string& format,
                             unsigned int line, ...)
{
    va_list values;
    va_start(values, line);
    keep(LumLogLevel::AOL, file, function, format, line, values);
    va_end(values);
}

std::vector<LogRecord> RecordingLogger::records() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return kept;
}

std::vector<LogRecord> RecordingLogger::recordsOfLevel(LumLogLevel level) const
{
    const std::lock_guard<std::mutex> lock(mutex);
    std::vector<LogRecord> found;
    std::copy_if(kept.begin(), kept.end(), std::back_inserter(found),
                 [level](const LogRecord& record) { return record.level == level; });
    return found;
}

void RecordingLogger::clear()
{
    const std::lock_guard<std::mutex> lock(mutex);
    kept.clear();
}

void RecordingLogger::keep(LumLogLevel level, const std::string& file, const std::string& function,
                           const std::string& format, unsigned int line, va_list values)
{
    const std::vector<char> buffer = LumUtils::getVarArgsFormattedBuffer(format, values);
    std::string message = buffer.empty() ? std::string() : std::string(buffer.data(), buffer.size() - 1);
    const std::lock_guard<std::mutex> lock(mutex);
    kept.push_back({level, file, function, format, line, std::move(message), std::this_thread::get_id()});
}

bool endsWithPath(const std::string& file, const std::string& suffix)
{
    std::string path = file;
    std::replace(path.begin(), path.end(), '\\', '/');
    if (path.size() < suffix.size() || path.compare(path.size() - suffix.size(), suffix.size(), suffix) != 0) {
        return false;
    }
    return path.size() == suffix.size() || path[path.size() - suffix.size() - 1] == '/';
}

} // namespace LumTests
