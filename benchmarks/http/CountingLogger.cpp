#include "CountingLogger.h"

namespace LumBench {

void CountingLogger::logFatal(const std::string& /*file*/, const std::string& /*function*/,
                              const std::string& /*format*/, unsigned int /*line*/, ...)
{
    Count();
}

void CountingLogger::logError(const std::string& /*file*/, const std::string& /*function*/,
                              const std::string& /*format*/, unsigned int /*line*/, ...)
{
    Count();
}

void CountingLogger::logWarning(const std::string& /*file*/, const std::string& /*function*/,
                                const std::string& /*format*/, unsigned int /*line*/, ...)
{
    Count();
}

void CountingLogger::logInfo(const std::string& /*file*/, const std::string& /*function*/,
                             const std::string& /*format*/, unsigned int /*line*/, ...)
{
    Count();
}

void CountingLogger::logVerbose(const std::string& /*file*/, const std::string& /*function*/,
                                const std::string& /*format*/, unsigned int /*line*/, ...)
{
    Count();
}

void CountingLogger::logAOL(const std::string& /*file*/, const std::string& /*function*/, const std::string& /*format*/,
                            unsigned int /*line*/, ...)
{
    Count();
}

} // namespace LumBench
