#include "common/utils/LumLog.h"

void logIt(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger)
{
#ifdef LUM_RIGHT_FORMAT
    LUM_LOG(logger, Info, "f", "status %d", 404);
#else
    LUM_LOG(logger, Info, "f", "status %d");
#endif
}
