#include "common/utils/LumLog.h"

void logIt(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger)
{
#ifdef LUM_RIGHT_FORMAT
    LUM_LOG(logger, Error, "f", "url %s", "h");
#else
    LUM_LOG(logger, Error, "f", "url %s", 404);
#endif
}
