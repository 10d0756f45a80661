#include "Windows/Cli/networking/SocksHttpClientCliAdapter.h"

#include "Windows/Cli/utils/ManagedException.h"
#include "Windows/Cli/utils/ManagedText.h"

namespace LumNetworkingCli {

SocksHttpClientCliAdapter::SocksHttpClientCliAdapter(const LumUtilsCli::ManagedReference& managedClient)
    : HttpClientCliAdapter(managedClient), socksClient(managedClient)
{
}

SocksHttpClientCliAdapter::SocksHttpClientCliAdapter(const std::string& staTicket, const std::string& socksServerUrl,
                                                     const LumUtilsCli::ManagedReference& managedClient)
    : SocksHttpClientCliAdapter(managedClient)
{
    SetSocksParameters(staTicket, socksServerUrl);
}

void SocksHttpClientCliAdapter::SetSocksParameters(const std::string& staTicket, const std::string& socksServerUrl)
{
    if (socksClient.IsNull()) {
        return;
    }
    const LumCliHostTable& host = socksClient.Host();
    const LumUtilsCli::ManagedText ticket = LumUtilsCli::ManagedText::Convert(host, staTicket);
    const LumUtilsCli::ManagedText url = LumUtilsCli::ManagedText::Convert(host, socksServerUrl);
    const LumCliText ticketView = ticket.View();
    const LumCliText urlView = url.View();
    LumUtilsCli::callManaged(host, [&] { return host.setSocksParameters(socksClient.Get(), &ticketView, &urlView); });
}

} // namespace LumNetworkingCli
