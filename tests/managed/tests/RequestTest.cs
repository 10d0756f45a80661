using System;
using System.Collections.Generic;
using System.Linq;
using System.Net;
using LumNetworkingCli;

namespace LumManagedTests
{
    /// <summary>What of a request reaches the host, and what of its response comes back.</summary>
    internal sealed class RequestTest
    {
        private const string CannotDecode =
            "SOCKS HTTP request error: Conversion from MultiByte to WideChar failed.  " +
            "Please check the content of the string and/or locale settings.";

        private static readonly string[] Verbs = { "GET", "POST", "PUT", "PATCH", "DELETE" };
        private static readonly string[] VerbsWithBody = { "POST", "PUT", "PATCH" };

        private readonly StubLogger logger = new StubLogger();

        [Test]
        public void MethodUrlHeadersAndPayloadReachTheHost()
        {
            foreach (string verb in Verbs)
            {
                HostCall call = CallOf(verb, "http://files.example:8080/a/b?c=d", Bytes("body"),
                                       (Bytes("X-B"), Bytes("2")), (Bytes("X-A"), Bytes("1")));
                Check.Equal(verb, call.Method);
                Check.Equal("http://files.example:8080/a/b?c=d", call.Url);
                Check.Equal(2, call.Headers.Count, "headers");
                Check.Equal("1", call.Headers["X-A"]);
                Check.Equal("2", call.Headers["X-B"]);
                Check.Equal(VerbsWithBody.Contains(verb) ? "body" : null, call.Payload, verb + "'s payload");
            }
        }

        [Test]
        public void WithoutHeadersTheHostGetsAnEmptyDictionaryOfItsOwn()
        {
            var host = new StubClient();
            using (var client = new NativeClient(logger, host))
            {
                client.PerformGet().MustBeSuccess();
                client.PerformGet().MustBeSuccess();
            }
            HostCall[] calls = host.Calls.ToArray();
            Check.True(calls.All(call => call.Headers != null && call.Headers.Count == 0), "they are empty");
            Check.True(!ReferenceEquals(calls[0].Headers, calls[1].Headers), "each call has its own");
        }

        [Test]
        public void HeadersComeInTheirNativeOrder()
        {
            HostCall call = CallOf("GET", "http://files.example/", null, (Bytes("b"), Bytes("1")),
                                   (Bytes("B"), Bytes("2")), (Bytes("a"), Bytes("3")), (Bytes(""), Bytes("4")));
            Check.SequenceEqual(new[] { "=4", "B=2", "a=3", "b=1" },
                                call.Headers.Select(header => header.Key + "=" + header.Value));
        }

        [Test]
        public void AnEmptyBodyGoesToTheHostAsNull()
        {
            foreach (string verb in Verbs)
            {
                Check.Equal(null, CallOf(verb, "http://files.example/", Bytes("")).Payload, verb + "'s payload");
            }
        }

        [Test]
        public void ABodyOfOneBlankGoesAsOneBlank()
        {
            foreach (string verb in VerbsWithBody)
            {
                Check.Equal(" ", CallOf(verb, "http://files.example/", Bytes(" ")).Payload, verb + "'s payload");
            }
        }

        [Test]
        public void TextsKeepTheirNulsAndLettersInBothDirections()
        {
            const string text = "a\0b" + NarrowTexts.Letters + "\0";
            const string value = "n\0" + NarrowTexts.Letters;
            var host = new StubClient(call => StubClient.Answer(call.Payload!, "X-Text: " + call.Headers["X-Text"]));
            using (var client = new NativeClient(logger, host))
            {
                RequestOutcome outcome = client.Perform("POST", "http://files.example/", Bytes(text),
                                                        (Bytes("X-Text"), Bytes(value)));
                outcome.MustBeSuccess();
                Check.Equal(text, outcome.Body);
                Check.SequenceEqual(new[] { "X-Text=" + value }, outcome.Headers);
            }
        }

        [Test]
        public void BodiesOfManySizesAreTheSameOnTheWayBack()
        {
            var host = new StubClient(call => StubClient.Answer(call.Payload ?? ""));
            using (var client = new NativeClient(logger, host))
            {
                foreach (int size in new[] { 1, 15, 16, 17, 255, 4096, 65537, 1 << 20, 10_000_000 })
                {
                    string text = string.Concat(Enumerable.Repeat("0123456789abcde\u00e9", size / 16 + 1)).Substring(0, size);
                    RequestOutcome outcome = client.Perform("PUT", "http://files.example/", Bytes(text));
                    outcome.MustBeSuccess();
                    Check.Equal(text, outcome.Body, $"a body of {size}");
                }
            }
        }

        [Test]
        public void ABodyThatIsNoTextFailsTheRequest()
        {
            FailsBeforeTheHost("POST", NarrowTexts.Invalid);
        }

        [Test]
        public void AHeaderValueThatIsNoTextFailsTheRequest()
        {
            FailsBeforeTheHost("GET", null, (Bytes("X-A"), NarrowTexts.Invalid));
        }

        [Test]
        public void AHeaderNameThatIsNoTextFailsTheRequest()
        {
            FailsBeforeTheHost("GET", null, (NarrowTexts.Invalid, Bytes("1")));
        }

        [Test]
        public void ANullBodyFailsTheRequestWithTheRuntimesOwnText()
        {
            const string parameter = "NULLPTR is not supported for this conversion.";
            string reason = new ArgumentNullException(parameter).Message;
            Check.True(reason.StartsWith("Value cannot be null.", StringComparison.Ordinal), reason);
            Check.Contains(parameter, reason);
            FailsWith("SOCKS HTTP request error: " + reason,
                      new HttpResponseCli { HttpCode = HttpStatusCode.OK, Body = null! });
        }

        [Test]
        public void ANullHeaderLineFailsTheRequestWithTheRuntimesOwnText()
        {
            string reason = new ArgumentNullException("NULLPTR is not supported for this conversion.").Message;
            FailsWith("SOCKS HTTP request error: " + reason, StubClient.Answer("", "X-A: 1", null!));
        }

        [Test]
        public void NullHeadersAreNoHeaders()
        {
            RequestOutcome outcome = OutcomeOf(new HttpResponseCli
            {
                HttpCode = HttpStatusCode.OK,
                Headers = null,
                Body = "x",
            });
            outcome.MustBeSuccess();
            Check.Equal(0, outcome.Headers.Count, "headers");
        }

        [Test]
        public void OfARepeatedHeaderTheLastLineCounts()
        {
            RequestOutcome outcome = OutcomeOf(
                StubClient.Answer("", "Content-Type: text/html", "X-A:1", "X-A: 2", "bogus"));
            outcome.MustBeSuccess();
            Check.SequenceEqual(new[] { "Content-Type=text/html", "X-A=2" }, outcome.Headers);
        }

        [Test]
        public void HeaderLinesAreSplitAtTheFirstColonAndTrimmed()
        {
            HeaderBecomes("X-Empty:", "X-Empty=");
            HeaderBecomes(" : v", "=v");
            HeaderBecomes(":v", "=v");
            HeaderBecomes("\tX-Both \t:\r v \n", "X-Both=v");
            HeaderBecomes("X-Url: http://files.example:1/", "X-Url=http://files.example:1/");
            HeaderBecomes("x-case: Kept", "x-case=Kept");
            HeaderBecomes("X-\u00e9: \u00e9", "X-\u00e9=\u00e9");
            HeaderBecomes("no colon");
            HeaderBecomes("");
        }

        [Test]
        public void EveryStatusIsASuccess()
        {
            foreach (int status in new[] { 404, 200, 100, 204, 302, 500, 599, 999, 0, -1 })
            {
                var answer = new HttpResponseCli { HttpCode = (HttpStatusCode)status, Body = "b" };
                RequestOutcome outcome = OutcomeOf(answer);
                outcome.MustBeSuccess(status);
                Check.Equal("b", outcome.Body);
            }
        }

        [Test]
        public void TheHostIsCalledAndTheRequestCompletedOnAThreadOfTheLibrary()
        {
            int caller = Environment.CurrentManagedThreadId;
            int called = caller;
            var host = new StubClient(_ =>
            {
                called = Environment.CurrentManagedThreadId;
                return StubClient.Answer("");
            });
            using (var client = new NativeClient(logger, host))
            {
                RequestOutcome outcome = client.PerformGet();
                outcome.MustBeSuccess();
                Check.True(called != caller, "the host was called on the caller's thread");
                Check.True(!outcome.OnCallersThread, "the completion ran on the caller's thread");
                Check.Equal(1, outcome.Completions, "completions");
                Check.True(outcome.HasTransaction, "the completion got its transaction");
            }
        }

        [Test]
        public void ARequestIsLoggedWhenItIsSentAndWhenItIsAnswered()
        {
            var host = new StubClient(_ => new HttpResponseCli { HttpCode = HttpStatusCode.NotFound, Body = "" });
            using (var client = new NativeClient(logger, host))
            {
                client.PerformGet("http://files.example/a").MustBeSuccess(404);
            }
            LogEntry[] entries = logger.Entries.ToArray();
            Check.SequenceEqual(
                new[]
                {
                    "LogInfo LumAsynchronousSocksHttpClient created for SOCKS5 proxy requests",
                    "LogInfo LumAsynchronousSocksHttpClient: Making GET request to http://files.example/a",
                    "LogInfo LumAsynchronousSocksHttpClient: Request completed with status 404",
                },
                entries.Select(entry => entry.Operation + " " + entry.Message));
            const string type = "LumNetworking::LumAsynchronousSocksHttpClient::";
            Check.SequenceEqual(
                new[] { type + "LumAsynchronousSocksHttpClient", type + "HandleHttpRequest", type + "HandleHttpRequest" },
                entries.Select(entry => entry.Function));
            Check.True(entries.All(entry => entry.Line > 0), "each has its line");
            Check.True(entries.All(entry => entry.File.EndsWith(
                "src/Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.cpp", StringComparison.Ordinal)),
                "each has its file");
        }

        private static byte[] Bytes(string text)
        {
            return NarrowTexts.Encode(text);
        }

        private HostCall CallOf(string verb, string url, byte[]? body, params (byte[], byte[])[] headers)
        {
            var host = new StubClient();
            using (var client = new NativeClient(logger, host))
            {
                client.Perform(verb, url, body, headers).MustBeSuccess();
            }
            return host.Calls.Single();
        }

        private RequestOutcome OutcomeOf(HttpResponseCli answer)
        {
            using (var client = new NativeClient(logger, new StubClient(_ => answer)))
            {
                return client.PerformGet();
            }
        }

        private void HeaderBecomes(string line, params string[] expected)
        {
            RequestOutcome outcome = OutcomeOf(StubClient.Answer("", line));
            outcome.MustBeSuccess();
            Check.SequenceEqual(expected, outcome.Headers, line);
        }

        private void FailsWith(string record, HttpResponseCli answer)
        {
            var own = new StubLogger();
            using (var client = new NativeClient(own, new StubClient(_ => answer)))
            {
                client.PerformGet().MustBeFailure();
            }
            Check.SequenceEqual(new[] { record }, own.MessagesOf("LogError"));
        }

        private void FailsBeforeTheHost(string verb, byte[]? body, params (byte[], byte[])[] headers)
        {
            var host = new StubClient();
            var own = new StubLogger(entry =>
            {
                if (entry.Message.Contains("Making"))
                {
                    NarrowTexts.RefuseInvalid(); // on the worker, which converts
                }
            });
            using (var client = new NativeClient(own, host))
            {
                client.Perform(verb, "http://files.example/", body, headers).MustBeFailure();
            }
            Check.Equal(0, host.Calls.Count, "calls of the host");
            Check.SequenceEqual(new[] { CannotDecode }, own.MessagesOf("LogError"));
        }
    }
}
