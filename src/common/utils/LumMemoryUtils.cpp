#include "common/utils/LumMemoryUtils.h"

#include <stdexcept>

namespace LumUtils {

void secureZeroMemory(void* data, std::size_t size)
{
    if (data == nullptr || size == 0) {
        throw std::invalid_argument("Invalid argument to SecureZeroMemory");
    }
    // Volatile: each store counts, whoever may read the memory afterwards.
    auto* const bytes = static_cast<volatile unsigned char*>(data);
    for (std::size_t index = 0; index < size; ++index) {
        bytes[index] = 0;
    }
}

} // namespace LumUtils
