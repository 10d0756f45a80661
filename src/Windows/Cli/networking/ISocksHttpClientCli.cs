namespace LumNetworkingCli
{
    /// <summary>An HTTP client that the host supplies, and that sends through a SOCKS5 proxy.</summary>
    public interface ISocksHttpClientCli : IHttpClientCli
    {
        /// <summary>Takes what is needed to reach the proxy.</summary>
        /// <remarks>
        /// Called only where native code creates the client with a ticket and a server. The clients that
        /// <see cref="SocksHttpClientFactory"/> creates never call it: a host that uses the factory configures its proxy
        /// itself.
        /// </remarks>
        /// <param name="staTicket">The ticket for the connection to the proxy.</param>
        /// <param name="socksServerUrl">The URL of the proxy.</param>
        void SetSocksParameters(string staTicket, string socksServerUrl);
    }
}
