using System;
using System.Linq;

namespace LumManagedTests
{
    /// <summary>What only a code page can show: text that it lacks, and threads that have another.</summary>
    internal sealed class CodePageTest
    {
        [Test]
        public void AnUnpairedSurrogateInAnAnswerBecomesTheDefaultCharacter()
        {
            RequestOutcome outcome = OutcomeOf("a\uD800b\uDC00", "X-A: \uDBFF");
            Check.Equal("a?b?", outcome.Body);
            Check.SequenceEqual(new[] { "X-A=?" }, outcome.Headers);
        }

        [Test]
        public void AnUnpairedSurrogateInAMessageBecomesTheDefaultCharacter()
        {
            var logger = new StubLogger();
            var host = new StubClient(_ => throw new InvalidOperationException("a\uD83Db"));
            using (var client = new NativeClient(logger, host))
            {
                client.PerformGet().MustBeFailure();
            }
            Check.Equal("SOCKS HTTP request error: a?b", logger.MessagesOf("LogError").Single());
        }

        [Test]
        public void ALetterThatTheCodePageLacksBecomesTheDefaultCharacterAndNoLookAlike()
        {
            RequestOutcome outcome = OutcomeOf("\u0100|\u4e2d|\uff21", "X-\u0100: \u4e2d");
            Check.Equal("?|?|?", outcome.Body);
            Check.SequenceEqual(new[] { "X-?=?" }, outcome.Headers);
        }

        [Test]
        public void AThreadsOwnCodePageCounts()
        {
            var host = new StubClient(_ =>
            {
                NarrowTexts.RefuseInvalid();
                return StubClient.Answer("\u3042\u00e9");
            });
            using (var client = new NativeClient(new StubLogger(), host))
            {
                RequestOutcome outcome = client.PerformGet();
                outcome.MustBeSuccess();
                Check.SequenceEqual(new byte[] { 0x82, 0xA0, (byte)'?' }, outcome.BodyBytes);
            }
        }

        private static RequestOutcome OutcomeOf(string body, params string[] headers)
        {
            using (var client = new NativeClient(new StubLogger(), new StubClient(_ => StubClient.Answer(body, headers))))
            {
                RequestOutcome outcome = client.PerformGet();
                outcome.MustBeSuccess();
                return outcome;
            }
        }
    }
}
