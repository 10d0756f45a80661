#include "Demo.h"

#include "DemoSite.h"
#include "FetchCommand.h"
#include "support/InterruptWatch.h"
#include "support/ProxyEnvironment.h"

#include <iostream>

namespace LumFetch {

bool RunDemo()
{
    LumLocalServer::ForgetProxies();
    LumLocalServer::HoldInterrupts();
    DemoSite site;
    const LumLocalServer::InterruptWatch interrupts([&site] { site.Stop(); });
    std::cout << "nginx serves " << site.BaseUrl() << " for this run: files of this system, and some trouble\n\n";
    return RunFetches(site.Jobs());
}

} // namespace LumFetch
