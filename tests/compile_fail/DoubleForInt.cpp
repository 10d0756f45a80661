#include "common/utils/LumLog.h"

void logIt(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger)
{
#ifdef LUM_RIGHT_FORMAT
    LUM_LOG(logger, Info, "f", "ratio %f", 0.5);
#else
    LUM_LOG(logger, Info, "f", "ratio %d", 0.5);
#endif
}
