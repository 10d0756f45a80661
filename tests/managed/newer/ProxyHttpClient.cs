using System;
using System.Collections.Generic;
using System.Linq;
using System.Net;
using System.Net.Http;
using System.Text;
using LumNetworkingCli;

namespace LumManagedTests
{
    /// <summary>A host's client as an application has it: the framework's HTTP client behind a SOCKS5 proxy.</summary>
    internal sealed class ProxyHttpClient : ISocksHttpClientCli, IDisposable
    {
        private readonly HttpClient client;

        /// <summary>Without a port there is no proxy.</summary>
        internal ProxyHttpClient(int? proxyPort, NetworkCredential? credentials = null)
        {
            var handler = new HttpClientHandler { UseProxy = proxyPort != null };
            if (proxyPort != null)
            {
                // Bypassing nothing, loopback included.
                handler.Proxy = new EveryAddressProxy(new Uri($"socks5://127.0.0.1:{proxyPort}"), credentials);
            }
            client = new HttpClient(handler) { Timeout = TimeSpan.FromSeconds(60) };
        }

        public HttpResponseCli SendAndGetResponse(string method, string requestUrl, Dictionary<string, string> headers,
                                                  string? payload)
        {
            using (var request = new HttpRequestMessage(new HttpMethod(method), requestUrl))
            {
                if (payload != null)
                {
                    request.Content = new StringContent(payload, new UTF8Encoding(false), "text/plain");
                }
                foreach (KeyValuePair<string, string> header in headers)
                {
                    request.Headers.TryAddWithoutValidation(header.Key, header.Value);
                }
                using (HttpResponseMessage response = client.SendAsync(request).GetAwaiter().GetResult())
                {
                    return new HttpResponseCli
                    {
                        HttpCode = response.StatusCode,
                        Headers = response.Headers.Concat(response.Content.Headers)
                            .SelectMany(header => header.Value.Select(value => header.Key + ": " + value)).ToList(),
                        Body = response.Content.ReadAsStringAsync().GetAwaiter().GetResult(),
                    };
                }
            }
        }

        public void SetSocksParameters(string staTicket, string socksServerUrl)
        {
            throw new NotSupportedException();
        }

        public void Dispose()
        {
            client.Dispose();
        }

        private sealed class EveryAddressProxy : IWebProxy
        {
            private readonly Uri address;

            internal EveryAddressProxy(Uri address, ICredentials? credentials)
            {
                this.address = address;
                Credentials = credentials;
            }

            public ICredentials? Credentials { get; set; }

            public Uri GetProxy(Uri destination)
            {
                return address;
            }

            public bool IsBypassed(Uri host)
            {
                return false;
            }
        }
    }
}
