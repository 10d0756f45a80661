#include "common/utils/LumFormattingLoggerDelegate.h"

#include <iostream>
#include <mutex>

/// Writes warnings and worse to the standard error stream. Records come on several threads at once.
class ConsoleLogger : public LumUtils::LumFormattingLoggerDelegate {
    void writeRecord(LumUtils::LumLogLevel level, const std::string&, const std::string& function,
                     const std::string& message, unsigned int line) override
    {
        if (level <= LumUtils::LumLogLevel::Warning) {
            const std::lock_guard<std::mutex> lock(mutex);
            std::cerr << function << ':' << line << ' ' << message << '\n';
        }
    }

    std::mutex mutex;
};
