#include "common/utils/LumLog.h"

void logIt(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, std::size_t size)
{
#ifdef LUM_RIGHT_FORMAT
    LUM_LOG(logger, Info, "f", "size %zu", size);
#else
    LUM_LOG(logger, Info, "f", "size %d", size);
#endif
}
