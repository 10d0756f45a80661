#include "platform/LumMemory.h"

namespace LumPlatform {

/// The system has no such hint.
void ExpectFilling(void* /*memory*/, std::size_t /*size*/) {}

} // namespace LumPlatform
