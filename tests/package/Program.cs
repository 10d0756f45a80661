using System;
using System.Collections.Generic;
using LumNetworkingCli;

namespace PackageConsumer
{
    internal static class Program
    {
        private static void Main()
        {
            NativePart.AdoptClient(
                SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(Stage.logger, new NoClient()));
        }

        private sealed class NoClient : ISocksHttpClientCli
        {
            public HttpResponseCli SendAndGetResponse(string method, string requestUrl,
                                                      Dictionary<string, string> headers, string? payload)
            {
                throw new NotSupportedException();
            }

            public void SetSocksParameters(string staTicket, string socksServerUrl)
            {
            }
        }
    }
}
