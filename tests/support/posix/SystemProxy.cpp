#include "support/SystemProxy.h"

#include <stdlib.h>

namespace LumTests {

void setSystemProxy(const std::string& server)
{
    for (const char* const variable : {"http_proxy", "https_proxy"}) {
        setenv(variable, ("http://" + server).c_str(), 1);
    }
    // Whoever runs the tests may have exempted servers from a proxy of their own.
    for (const char* const variable : {"no_proxy", "NO_PROXY"}) {
        unsetenv(variable);
    }
}

} // namespace LumTests
