#pragma once

#include "Windows/Cli/networking/HttpClientCliAdapter.h"

namespace LumNetworkingCli {

/// The native side of a managed ISocksHttpClientCli: an HTTP client that can be told which SOCKS5 proxy to use.
class SocksHttpClientCliAdapter : public HttpClientCliAdapter {
public:
    /// Tells the managed client nothing of a proxy. The reference may be null.
    explicit SocksHttpClientCliAdapter(const LumUtilsCli::ManagedReference& managedClient);

    /// Gives the managed client the ticket and the proxy's URL at once; see SetSocksParameters.
    SocksHttpClientCliAdapter(const std::string& staTicket, const std::string& socksServerUrl,
                              const LumUtilsCli::ManagedReference& managedClient);

    ~SocksHttpClientCliAdapter() override = default;

    /// Gives the managed client the ticket for the proxy connection and the proxy's URL; nothing happens for the null
    /// reference. Throws as SendAndGetResponse does.
    void SetSocksParameters(const std::string& staTicket, const std::string& socksServerUrl);

private:
    LumUtilsCli::ManagedHandle socksClient;
};

} // namespace LumNetworkingCli
