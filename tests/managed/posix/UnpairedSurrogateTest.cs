using System;
using System.Linq;
using LumNetworkingCli;

namespace LumManagedTests
{
    /// <summary>Managed texts that are no Unicode. UTF-8 has no bytes for them, and they are refused.</summary>
    internal sealed class UnpairedSurrogateTest
    {
        private const string CannotEncode =
            "SOCKS HTTP request error: Conversion from WideChar to MultiByte failed.  " +
            "Please check the content of the string and/or locale settings.";

        [Test]
        public void InABodyTheyFailTheRequest()
        {
            Check.Equal(CannotEncode, ErrorOf(_ => StubClient.Answer("a\uD800b")));
            Check.Equal(CannotEncode, ErrorOf(_ => StubClient.Answer("\uDC00")));
        }

        [Test]
        public void InAHeaderLineTheyFailTheRequest()
        {
            Check.Equal(CannotEncode, ErrorOf(_ => StubClient.Answer("", "X-A: \uDBFF")));
        }

        [Test]
        public void InAMessageTheyCannotBeMarshalled()
        {
            Check.Equal("SOCKS HTTP request error: Failed to marshal exception message",
                        ErrorOf(_ => throw new InvalidOperationException("a\uD83Db")));
        }

        private static string ErrorOf(Func<HostCall, HttpResponseCli> answer)
        {
            var logger = new StubLogger();
            using (var client = new NativeClient(logger, new StubClient(answer)))
            {
                client.PerformGet().MustBeFailure();
            }
            return logger.MessagesOf("LogError").Single();
        }
    }
}
