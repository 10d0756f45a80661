#include "support/ProxyEnvironment.h"

#include <cstdlib>
#include <initializer_list>

namespace LumLocalServer {

void ForgetProxies()
{
    for (const char* name : {"http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}) {
        unsetenv(name);
    }
}

} // namespace LumLocalServer
