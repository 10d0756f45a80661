using System;
using System.Collections.Concurrent;
using System.IO;
using System.Linq;
using System.Net;
using System.Text;

namespace LumManagedTests
{
    /// <summary>Requests through real SOCKS5 proxies, by a host's HTTP client.</summary>
    internal sealed class ProxyTest : IDisposable
    {
        private const string ErrorPrefix = "SOCKS HTTP request error: ";

        private readonly StubLogger logger = new StubLogger();
        private readonly NativeClient direct = NativeClient.Direct();

        public void Dispose()
        {
            direct.Dispose();
        }

        [Test]
        public void ThroughMicrosocksFilesAreTheSameAsDirectly()
        {
            FilesAreTheSame(Port("LUM_TEST_SOCKS_PORT"));
        }

        [Test]
        public void ThroughMicrosocksWithPasswordFilesAreTheSameAsDirectly()
        {
            FilesAreTheSame(Port("LUM_TEST_SOCKS_PASSWORD_PORT"), RightPassword());
        }

        [Test]
        public void ThroughDanteFilesAreTheSameAsDirectly()
        {
            FilesAreTheSame(Port("LUM_TEST_SOCKS_DANTE_PORT"));
        }

        [Test]
        public void WithoutProxyFilesAreTheSameAsDirectly()
        {
            FilesAreTheSame(null);
        }

        [Test]
        public void EveryMethodAndItsBodyGoThroughTheProxy()
        {
            using (var host = new ProxyHttpClient(Port("LUM_TEST_SOCKS_PORT")))
            using (var client = new NativeClient(logger, host))
            {
                foreach (string method in new[] { "POST", "PUT", "PATCH" })
                {
                    RequestOutcome outcome = client.Perform(method, Scripted("/echo"), Bytes("caf " + NarrowTexts.Letters),
                                                            (Bytes("X-Own"), Bytes("value")));
                    outcome.MustBeSuccess();
                    Check.True(outcome.Body.StartsWith(method + " /echo HTTP/1.1\r\n", StringComparison.Ordinal), "method");
                    Check.Contains("\r\nX-Own: value\r\n", outcome.Body);
                    Check.True(outcome.Body.EndsWith("\r\n\r\ncaf " + NarrowTexts.Letters, StringComparison.Ordinal), "body");
                }
                foreach (string method in new[] { "GET", "DELETE" })
                {
                    RequestOutcome outcome = client.Perform(method, Scripted("/echo"));
                    outcome.MustBeSuccess();
                    Check.True(outcome.Body.StartsWith(method + " /echo HTTP/1.1\r\n", StringComparison.Ordinal), "method");
                }
            }
        }

        [Test]
        public void AStatusThatIsNoSuccessComesThroughTheProxyAsAResponse()
        {
            using (var host = new ProxyHttpClient(Port("LUM_TEST_SOCKS_PORT")))
            using (var client = new NativeClient(logger, host))
            {
                client.PerformGet(Nginx("/no-such-file")).MustBeSuccess(404);
                RequestOutcome outcome = client.PerformGet(Scripted("/status/503"));
                outcome.MustBeSuccess(503);
                Check.True(outcome.Headers.Contains("X-Status=503"), "the header comes through");
            }
        }

        [Test]
        public void AWrongPasswordFailsTheRequest()
        {
            FailsWith(Port("LUM_TEST_SOCKS_PASSWORD_PORT"), new NetworkCredential("lum", "wrong"));
        }

        [Test]
        public void AMissingPasswordFailsTheRequest()
        {
            FailsWith(Port("LUM_TEST_SOCKS_PASSWORD_PORT"));
        }

        [Test]
        public void AProxyThatIsNotThereFailsTheRequest()
        {
            Check.Contains("refused", FailsWith(Port("LUM_TEST_CLOSED_PORT")));
        }

        [Test]
        public void AProxyThatHangsUpFailsTheRequest()
        {
            using (var proxy = new SocketServer(_ => { }))
            {
                FailsWith(proxy.Port);
                Check.Equal(1, proxy.Connections, "connections");
            }
        }

        [Test]
        public void AProxyThatHangsUpAfterTheGreetingFailsTheRequest()
        {
            using (var proxy = new SocketServer(stream => SocketServer.ReadSocksRequest(stream)))
            {
                FailsWith(proxy.Port);
                Check.Equal(1, proxy.Connections, "connections");
            }
        }

        [Test]
        public void AProxyThatRefusesTheConnectionFailsTheRequest()
        {
            using (var proxy = new SocketServer(stream =>
                   {
                       SocketServer.ReadSocksRequest(stream);
                       const byte notAllowed = 2;
                       SocketServer.Reply(stream, notAllowed);
                   }))
            {
                FailsWith(proxy.Port);
            }
        }

        [Test]
        public void AServerThatTheProxyCannotReachFailsTheRequest()
        {
            foreach (string variable in new[] { "LUM_TEST_SOCKS_PORT", "LUM_TEST_SOCKS_DANTE_PORT" })
            {
                FailsWith(Port(variable), null, $"http://127.0.0.1:{Port("LUM_TEST_CLOSED_PORT")}/");
            }
        }

        /// <summary>The name exists nowhere, but for this proxy.</summary>
        [Test]
        public void TheProxyResolvesNames()
        {
            int nginx = Port("LUM_TEST_NGINX_PORT");
            var requests = new ConcurrentQueue<byte[]>();
            using (var proxy = new SocketServer(stream =>
                   {
                       requests.Enqueue(SocketServer.ReadSocksRequest(stream));
                       SocketServer.Reply(stream, 0);
                       SocketServer.Relay(stream, nginx);
                   }))
            {
                using (var host = new ProxyHttpClient(proxy.Port))
                using (var client = new NativeClient(logger, host))
                {
                    RequestOutcome outcome = client.PerformGet("http://files.known-to-the-proxy.example/one.bin");
                    outcome.MustBeSuccess();
                    Check.Equal(1, outcome.BodyBytes.Length, "bytes");
                }
                byte[] request = requests.Single();
                Check.Equal(3, request[3], "kind of address: a name");
                Check.Equal("files.known-to-the-proxy.example", Encoding.ASCII.GetString(request, 5, request[4]));
            }
        }

        /// <summary>The client sends the name; that the answer comes shows that the proxy knew what to do with it.</summary>
        [Test]
        public void RealProxiesResolveNames()
        {
            foreach (string variable in new[] { "LUM_TEST_SOCKS_PORT", "LUM_TEST_SOCKS_DANTE_PORT" })
            {
                int proxyPort = Port(variable);
                var requests = new ConcurrentQueue<byte[]>();
                using (var tap = new SocketServer(stream =>
                       {
                           requests.Enqueue(SocketServer.RelayAndKeepStart(stream, proxyPort));
                       }))
                {
                    using (var host = new ProxyHttpClient(tap.Port))
                    using (var client = new NativeClient(logger, host))
                    {
                        client.PerformGet($"http://localhost:{Port("LUM_TEST_NGINX_PORT")}/small.bin").MustBeSuccess();
                    }
                    Check.True(Host.WaitUntil(() => !requests.IsEmpty), "the connection has ended");
                    Check.Contains("\u0003\u0009localhost", Encoding.ASCII.GetString(requests.Single()), variable);
                }
            }
        }

        [Test]
        public void TwoHundredRequestsAtOnceGoThroughTheProxy()
        {
            using (var host = new ProxyHttpClient(Port("LUM_TEST_SOCKS_PORT")))
            using (var client = new NativeClient(logger, host))
            {
                NativeRequest[] requests =
                    Enumerable.Range(0, 200).Select(i => client.Get(Scripted("/echo?number=" + i))).ToArray();
                for (int i = 0; i < requests.Length; i++)
                {
                    RequestOutcome outcome = requests[i].Wait();
                    outcome.MustBeSuccess();
                    Check.Contains($"GET /echo?number={i} HTTP/1.1\r\n", outcome.Body);
                    requests[i].Dispose();
                }
            }
        }

        [Test]
        public void TwoHundredRequestsAreAtTheServerAtOnceThroughTheProxy()
        {
            const int count = 200;
            const string key = "?key=two-hundred";
            using (var host = new ProxyHttpClient(Port("LUM_TEST_SOCKS_PORT")))
            using (var client = new NativeClient(logger, host))
            {
                NativeRequest[] requests =
                    Enumerable.Range(0, count).Select(_ => client.Get(Scripted("/stall" + key))).ToArray();
                Check.True(Host.WaitUntil(() => direct.PerformGet(Scripted("/count" + key)).Body == "200", 25),
                           "not all have arrived before the first is answered");
                direct.PerformGet(Scripted("/release" + key)).MustBeSuccess();
                foreach (NativeRequest request in requests)
                {
                    RequestOutcome outcome = request.Wait();
                    outcome.MustBeSuccess();
                    Check.Equal("0123456789", outcome.Body);
                    request.Dispose();
                }
            }
        }

        [Test]
        public void TheClientMayBeDestroyedWhileRequestsAreAtTheProxy()
        {
            using (var host = new ProxyHttpClient(Port("LUM_TEST_SOCKS_PORT")))
            {
                NativeRequest[] requests;
                using (var client = new NativeClient(logger, host))
                {
                    requests = Enumerable.Range(0, 20).Select(_ => client.Get(Scripted("/slow?n=10&ms=20"))).ToArray();
                }
                foreach (NativeRequest request in requests)
                {
                    RequestOutcome outcome = request.Wait();
                    outcome.MustBeSuccess();
                    Check.Equal(10, outcome.BodyBytes.Length, "bytes");
                    request.Dispose();
                }
            }
        }

        /// <summary>
        /// The files are texts in UTF-8, and their bodies are texts on their way through the host; those of the system's
        /// licenses come in all sizes.
        /// </summary>
        private void FilesAreTheSame(int? proxyPort, NetworkCredential? credentials = null)
        {
            using (var host = new ProxyHttpClient(proxyPort, credentials))
            using (var client = new NativeClient(logger, host))
            {
                string[] paths = TextFiles();
                Check.True(paths.Length > 5, "there are files");
                foreach (string path in paths.Concat(new[] { "/empty.bin", LargeText(), "/no-such-file" }))
                {
                    RequestOutcome straight = direct.PerformGet(Nginx(path));
                    RequestOutcome proxied = client.PerformGet(Nginx(path));
                    straight.MustBeSuccess(straight.StatusCode);
                    proxied.MustBeSuccess(straight.StatusCode);
                    Check.True(Encoding.UTF8.GetString(straight.BodyBytes) == proxied.Body, $"{path} is another file");
                    Check.SequenceEqual(straight.Headers.Where(IsOfTheFile), proxied.Headers.Where(IsOfTheFile), path);
                }
            }
        }

        /// <summary>The path of a text of 3 MiB, not only in ASCII.</summary>
        private static string LargeText()
        {
            const int size = 3 << 20;
            const string line = "plain " + NarrowTexts.Letters + "\r\n";
            int lines = size / Encoding.UTF8.GetByteCount(line) + 1;
            string text = string.Concat(Enumerable.Range(0, lines).Select(number => number + line));
            File.WriteAllText(Path.Combine(Host.Variable("LUM_TEST_NGINX_ROOT"), "large.txt"), text, new UTF8Encoding(false));
            return "/large.txt";
        }

        private static string[] TextFiles()
        {
            return Directory.GetFiles(Path.Combine(Host.Variable("LUM_TEST_NGINX_ROOT"), "licenses"))
                .Select(file => "/licenses/" + Path.GetFileName(file)).OrderBy(path => path, StringComparer.Ordinal).ToArray();
        }

        private static bool IsOfTheFile(string header)
        {
            return header.StartsWith("Content-Length=", StringComparison.Ordinal) ||
                   header.StartsWith("Last-Modified=", StringComparison.Ordinal) ||
                   header.StartsWith("ETag=", StringComparison.Ordinal);
        }

        /// <summary>The reason that is logged for the one request that fails.</summary>
        private string FailsWith(int proxyPort, NetworkCredential? credentials = null, string? url = null)
        {
            var own = new StubLogger();
            using (var host = new ProxyHttpClient(proxyPort, credentials))
            using (var client = new NativeClient(own, host))
            {
                client.PerformGet(url ?? Nginx("/one.bin")).MustBeFailure();
            }
            string record = own.MessagesOf("LogError").Single();
            Check.True(record.StartsWith(ErrorPrefix, StringComparison.Ordinal) && record.Length > ErrorPrefix.Length,
                       $"the record has a reason: {record}");
            return record;
        }

        private static NetworkCredential RightPassword()
        {
            return new NetworkCredential(Host.Variable("LUM_TEST_SOCKS_USER"), Host.Variable("LUM_TEST_SOCKS_PASSWORD"));
        }

        private static int Port(string variable)
        {
            return int.Parse(Host.Variable(variable));
        }

        private static string Nginx(string path)
        {
            return $"http://127.0.0.1:{Port("LUM_TEST_NGINX_PORT")}{path}";
        }

        private static string Scripted(string path)
        {
            return $"http://127.0.0.1:{Port("LUM_TEST_HTTP_PORT")}{path}";
        }

        private static byte[] Bytes(string text)
        {
            return NarrowTexts.Encode(text);
        }
    }
}
