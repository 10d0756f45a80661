#include "common/utils/LumLog.h"

void logIt(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger)
{
#ifdef LUM_RIGHT_FORMAT
    LUM_LOG_FROM(logger, Error, "file", "f", 23, "url %s", "h");
#else
    LUM_LOG_FROM(logger, Error, "file", "f", 23, "url %s");
#endif
}
