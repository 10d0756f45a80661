#include "support/SystemProxy.h"

#include <stdlib.h>

namespace LumTests {

void setSystemProxy(const std::string& server)
{
    for (const char* const variable : {"http_proxy", "https_proxy"}) {
        setenv(variable, ("http://" + server).c_str(), 1);
    }
}

} // namespace LumTests
