#include "support/TimeZone.h"

#include <cstdlib>
#include <ctime>
#include <string>

namespace LumTests {

void TimeZone::set(const char* name)
{
    _putenv((std::string("TZ=") + (name == nullptr ? "" : name)).c_str());
    _tzset();
}

} // namespace LumTests
