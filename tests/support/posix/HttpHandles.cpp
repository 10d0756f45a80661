#include "support/HttpHandles.h"

#include "platform/posix/winhttp/HttpHandleTable.h"

namespace LumTests {

std::size_t openHttpHandles()
{
    return LumPlatform::HttpHandleTable::Instance().Count();
}

} // namespace LumTests
