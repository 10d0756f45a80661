using System;
using System.Collections.Generic;
using System.IO;
using System.Linq;
using System.Net;
using System.Net.Security;
using System.Text;
using LumNetworkingCli;

namespace DesktopHost
{
    /// <summary>
    /// The application's transport on runtimes whose own HTTP client knows no SOCKS: one connection for each request,
    /// opened through the SOCKS5 proxy. It follows no redirects and asks for no compression.
    /// </summary>
    internal sealed class SocksHttpClient : ISocksHttpClientCli, IDisposable
    {
        private readonly SocksConnector connector;

        /// <summary>Without a proxy the connections are direct.</summary>
        internal SocksHttpClient(Uri? proxy, NetworkCredential? credentials)
        {
            connector = new SocksConnector(proxy, credentials);
        }

        public HttpResponseCli SendAndGetResponse(string method, string requestUrl, Dictionary<string, string> headers,
                                                  string? payload)
        {
            CurrentRequest.Begin(method, requestUrl);
            var url = new Uri(requestUrl);
            using (Stream stream = Connect(url))
            {
                byte[] body = Encoding.UTF8.GetBytes(payload ?? "");
                byte[] head = HeadOf(method, url, headers, body.Length);
                stream.Write(head, 0, head.Length);
                stream.Write(body, 0, body.Length);
                stream.Flush();
                return new HttpResponseReader(stream).Read();
            }
        }

        /// <summary>Not called for clients of the factory: the proxy is known from the start.</summary>
        public void SetSocksParameters(string staTicket, string socksServerUrl)
        {
        }

        /// <summary>Nothing is kept between requests.</summary>
        public void Dispose()
        {
        }

        private Stream Connect(Uri url)
        {
            Stream stream = connector.Connect(url.DnsSafeHost, url.Port);
            if (url.Scheme != "https")
            {
                return stream;
            }
            var secured = new SslStream(stream);
            try
            {
                secured.AuthenticateAsClient(url.IdnHost);
                return secured;
            }
            catch
            {
                secured.Dispose();
                throw;
            }
        }

        /// <summary>The lines before the body. What the transfer itself decides is not the caller's to set.</summary>
        private static byte[] HeadOf(string method, Uri url, Dictionary<string, string> headers, int bodySize)
        {
            var fields = new Dictionary<string, string>(StringComparer.OrdinalIgnoreCase);
            if (bodySize > 0)
            {
                fields["Content-Type"] = "text/plain; charset=utf-8";
            }
            foreach (KeyValuePair<string, string> header in headers)
            {
                fields[header.Key] = header.Value;
            }
            fields["Host"] = url.Authority;
            fields["Connection"] = "close";
            if (bodySize > 0 || method != "GET" && method != "DELETE")
            {
                fields["Content-Length"] = bodySize.ToString();
            }
            var head = new StringBuilder($"{method} {url.PathAndQuery} HTTP/1.1\r\n");
            foreach (KeyValuePair<string, string> field in fields)
            {
                if ((field.Key + field.Value).Any(unit => unit == '\r' || unit == '\n' || unit == '\0'))
                {
                    throw new ArgumentException($"The header '{field.Key}' holds a line break.");
                }
                head.Append(field.Key).Append(": ").Append(field.Value).Append("\r\n");
            }
            return Encoding.UTF8.GetBytes(head.Append("\r\n").ToString());
        }
    }
}
