#include "support/TimeZone.h"

#include <cstdlib>
#include <ctime>

namespace LumTests {

void TimeZone::set(const char* name)
{
    name == nullptr ? unsetenv("TZ") : setenv("TZ", name, 1);
    tzset();
}

} // namespace LumTests
