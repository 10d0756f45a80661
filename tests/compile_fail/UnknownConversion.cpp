#include "common/utils/LumLog.h"

void logIt(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, const void* pointer)
{
#ifdef LUM_RIGHT_FORMAT
    LUM_LOG(logger, Info, "f", "%p", pointer);
#else
    LUM_LOG(logger, Info, "f", "%n", pointer);
#endif
}
