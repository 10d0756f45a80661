using System;
using System.Linq;

namespace LumManagedTests
{
    /// <summary>What only a code page can show: text that it lacks, and threads that have another.</summary>
    internal sealed class CodePageTest
    {
        /// <summary>Thai, and those of the code pages 1250 to 1257: Czech, Russian, English, Greek, Turkish and so on.</summary>
        private static readonly int[] SingleByteLocales =
        {
            0x041E, 0x0405, 0x0419, 0x0409, 0x0408, 0x041F, 0x040D, 0x0401, 0x0427,
        };

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

        /// <summary>Also one for which the code page leaves it to the system which character it is.</summary>
        [Test]
        public void EveryByteOfACodePageOfSingleBytesReachesTheHost()
        {
            byte[] all = Enumerable.Range(1, 255).Select(number => (byte)number).ToArray();
            foreach (int locale in SingleByteLocales)
            {
                // The request's worker logs before it converts.
                var logger = new StubLogger(entry => SetLocaleOfWorker(entry, locale));
                var host = new StubClient(call => StubClient.Answer(call.Payload!));
                using (var client = new NativeClient(logger, host))
                {
                    RequestOutcome outcome = client.Perform("POST", "http://files.example/", all);
                    outcome.MustBeSuccess();
                    Check.Equal(255, host.Calls.Single().Payload!.Length, $"characters in the locale {locale:X}");
                    Check.SequenceEqual(all, outcome.BodyBytes, $"bytes in the locale {locale:X}");
                }
            }
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

        private static void SetLocaleOfWorker(LogEntry entry, int locale)
        {
            if (entry.Message.Contains("Making"))
            {
                NarrowTexts.SetLocale(locale);
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
