using System;
using System.Collections.Generic;
using System.Linq;
using System.Net;
using System.Net.Http;
using System.Text;
using LumNetworkingCli;

namespace DesktopHost
{
    /// <summary>The application's transport: the framework's HTTP client behind a SOCKS5 proxy.</summary>
    internal sealed class SocksHttpClient : ISocksHttpClientCli, IDisposable
    {
        private readonly HttpClient client;

        internal SocksHttpClient(Uri proxy, NetworkCredential? credentials)
        {
            var handler = new SocketsHttpHandler
            {
                Proxy = new WebProxy(proxy) { Credentials = credentials },
                AutomaticDecompression = DecompressionMethods.All,
            };
            client = new HttpClient(handler);
        }

        public HttpResponseCli SendAndGetResponse(string method, string requestUrl, Dictionary<string, string> headers,
                                                  string? payload)
        {
            CurrentRequest.Begin(method, requestUrl);
            using var request = new HttpRequestMessage(new HttpMethod(method), requestUrl);
            if (payload != null)
            {
                request.Content = new StringContent(payload, Encoding.UTF8);
            }
            foreach (KeyValuePair<string, string> header in headers)
            {
                if (!request.Headers.TryAddWithoutValidation(header.Key, header.Value))
                {
                    request.Content?.Headers.TryAddWithoutValidation(header.Key, header.Value);
                }
            }
            using HttpResponseMessage response = client.Send(request);
            return new HttpResponseCli
            {
                HttpCode = response.StatusCode,
                Headers = response.Headers.Concat(response.Content.Headers)
                    .Select(header => header.Key + ": " + string.Join(", ", header.Value)).ToList(),
                Body = response.Content.ReadAsStringAsync().GetAwaiter().GetResult(),
            };
        }

        /// <summary>Not called for clients of the factory: the proxy is known from the start.</summary>
        public void SetSocksParameters(string staTicket, string socksServerUrl)
        {
        }

        public void Dispose()
        {
            client.Dispose();
        }
    }
}
