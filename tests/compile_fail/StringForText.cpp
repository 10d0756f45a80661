#include "common/utils/LumLog.h"

#include <string>

void logIt(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, const std::string& url)
{
#ifdef LUM_RIGHT_FORMAT
    LUM_LOG(logger, Error, "f", "url %s", url.c_str());
#else
    LUM_LOG(logger, Error, "f", "url %s", url);
#endif
}
