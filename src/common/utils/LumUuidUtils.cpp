#include "common/utils/LumUuidUtils.h"

#include "common/utils/LumUuidTemplate.h"
#include "platform/LumPlatform.h"

#include <random>

namespace LumUtils {

std::string generateUuid()
{
    std::random_device device(kLumRandomDevice);
    std::mt19937 engine(static_cast<std::mt19937::result_type>(device()));
    return fillUuidTemplate(engine);
}

} // namespace LumUtils
