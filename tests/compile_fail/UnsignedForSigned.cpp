#include "common/utils/LumLog.h"

void logIt(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, unsigned int count)
{
#ifdef LUM_RIGHT_FORMAT
    LUM_LOG(logger, Info, "f", "count %u", count);
#else
    LUM_LOG(logger, Info, "f", "count %d", count);
#endif
}
