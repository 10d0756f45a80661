using System;
using System.Collections.Generic;
using System.Net;
using DesktopHost;
using LumNetworkingCli;

namespace LumManagedTests
{
    /// <summary>
    /// A host's client as an application has it where the framework's HTTP client knows no SOCKS: the example's.
    /// </summary>
    internal sealed class ProxyHttpClient : ISocksHttpClientCli, IDisposable
    {
        private readonly SocksHttpClient client;

        /// <summary>Without a port there is no proxy.</summary>
        internal ProxyHttpClient(int? proxyPort, NetworkCredential? credentials = null)
        {
            client = new SocksHttpClient(proxyPort == null ? null : new Uri($"socks5://127.0.0.1:{proxyPort}"), credentials);
        }

        public HttpResponseCli SendAndGetResponse(string method, string requestUrl, Dictionary<string, string> headers,
                                                  string? payload)
        {
            return client.SendAndGetResponse(method, requestUrl, headers, payload);
        }

        public void SetSocksParameters(string staTicket, string socksServerUrl)
        {
            throw new NotSupportedException();
        }

        public void Dispose()
        {
            client.Dispose();
        }
    }
}
