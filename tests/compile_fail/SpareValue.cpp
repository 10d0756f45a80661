#include "common/utils/LumLog.h"

void logIt(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger)
{
#ifdef LUM_RIGHT_FORMAT
    LUM_LOG(logger, Info, "f", "status");
#else
    LUM_LOG(logger, Info, "f", "status", 404);
#endif
}
