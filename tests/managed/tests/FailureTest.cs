using System;
using System.Collections.Generic;
using System.IO;
using System.Linq;
using System.Net.Http;
using System.Net.Sockets;
using System.Runtime.CompilerServices;
using System.Threading;
using System.Threading.Tasks;

namespace LumManagedTests
{
    /// <summary>What becomes of the host's exceptions while a request runs.</summary>
    internal sealed class FailureTest
    {
        private const string Prefix = "SOCKS HTTP request error: ";
        private const string CannotMarshal = Prefix + "Failed to marshal exception message";

        [Test]
        public void ExceptionsOfAnyTypeFailTheRequestAndTheirMessagesAreLogged()
        {
            var exceptions = new Exception[]
            {
                new InvalidOperationException("the state is wrong"),
                new HttpRequestException("no \u00e9 route", new SocketException(111)),
                new TaskCanceledException("it took too long"),
                new AggregateException("several", new IOException("one")),
                new HostException("the host's own"),
                new ArgumentNullException("parameter"),
                new OutOfMemoryException("no room"),
                new IOException(""),
            };
            foreach (Exception exception in exceptions)
            {
                Check.SequenceEqual(new[] { Prefix + exception.Message }, ErrorsOf(exception), exception.GetType().Name);
            }
        }

        [Test]
        public void ExceptionsOfTheRuntimeFailTheRequest()
        {
            string expected = Check.Throws<NullReferenceException>(() => LengthOf(null!)).Message;
            Check.SequenceEqual(new[] { Prefix + expected }, ErrorsOf(() => LengthOf(null!)));
        }

        [Test]
        public void AMessageIsLoggedUpToItsFirstNul()
        {
            Check.SequenceEqual(new[] { Prefix + "before" }, ErrorsOf(new HostException("before\0after")));
        }

        [Test]
        public void ALongMessageIsLoggedWhole()
        {
            string message = new string('m', 100_000);
            Check.SequenceEqual(new[] { Prefix + message }, ErrorsOf(new HostException(message)));
        }

        [Test]
        public void AMessageThatThrowsCannotBeMarshalled()
        {
            Check.SequenceEqual(new[] { CannotMarshal }, ErrorsOf(new ThrowingMessageException()));
        }

        [Test]
        public void AMessageThatIsNullCannotBeMarshalled()
        {
            Check.SequenceEqual(new[] { CannotMarshal }, ErrorsOf(new HostException(null)));
        }

        [Test]
        public void OneExceptionObjectMayBeThrownByManyRequestsAtOnce()
        {
            var logger = new StubLogger();
            var exception = new HostException("shared");
            using (var client = new NativeClient(logger, new StubClient(_ => throw exception)))
            {
                NativeRequest[] requests = Enumerable.Range(0, 50).Select(_ => client.Get()).ToArray();
                foreach (NativeRequest request in requests)
                {
                    using (request)
                    {
                        request.Wait().MustBeFailure();
                    }
                }
            }
            Check.SequenceEqual(Enumerable.Repeat(Prefix + "shared", 50), logger.MessagesOf("LogError"));
        }

        [Test]
        public void ALoggerThatThrowsBeforeTheHostIsCalledFailsTheRequest()
        {
            var host = new StubClient();
            RequestOutcome outcome = PerformWithLogger(host, entry => entry.Message.Contains("Making"));
            outcome.MustBeFailure();
            Check.Equal(0, host.Calls.Count, "calls of the host");
        }

        [Test]
        public void ALoggerThatThrowsAfterTheAnswerFailsTheRequest()
        {
            PerformWithLogger(new StubClient(), entry => entry.Message.Contains("completed")).MustBeFailure();
        }

        [Test]
        public void ALoggerThatThrowsWhileAFailureIsLoggedStillLeavesOneFailedCompletion()
        {
            var host = new StubClient(_ => throw new HostException("failed"));
            RequestOutcome outcome = PerformWithLogger(host, entry => entry.Operation == "LogError");
            outcome.MustBeFailure();
            Check.Equal(1, outcome.Completions, "completions");
        }

        [Test]
        public void CancellingDuringTheCallDropsTheResponse()
        {
            using (var entered = new ManualResetEventSlim())
            using (var released = new ManualResetEventSlim())
            {
                var host = new StubClient(_ =>
                {
                    entered.Set();
                    released.Wait();
                    return StubClient.Answer("late");
                });
                using (var client = new NativeClient(new StubLogger(), host))
                using (NativeRequest request = client.Get())
                {
                    entered.Wait();
                    request.Cancel();
                    Thread.Sleep(20);
                    Check.True(!request.IsCompleted, "the host's call is not interrupted");
                    released.Set();
                    request.Wait().MustBeCancelled();
                }
            }
        }

        [Test]
        public void CancellingWhileTheHostFailsIsCancelled()
        {
            using (var entered = new ManualResetEventSlim())
            using (var released = new ManualResetEventSlim())
            {
                var host = new StubClient(_ =>
                {
                    entered.Set();
                    released.Wait();
                    throw new HostException("late");
                });
                using (var client = new NativeClient(new StubLogger(), host))
                using (NativeRequest request = client.Get())
                {
                    entered.Wait();
                    request.Cancel();
                    released.Set();
                    request.Wait().MustBeCancelled();
                }
            }
        }

        /// <summary>
        /// The worker may be faster than the call that cancels, so the host may be called; whatever it answers is
        /// dropped.
        /// </summary>
        [Test]
        public void CancellingRightAfterTheStartIsCancelled()
        {
            using (var released = new ManualResetEventSlim())
            {
                var host = new StubClient(_ =>
                {
                    released.Wait();
                    return StubClient.Answer("late");
                });
                using (var client = new NativeClient(new StubLogger(), host))
                {
                    NativeRequest[] requests = Enumerable.Range(0, 100).Select(_ => client.Get()).ToArray();
                    Array.ForEach(requests, request => request.Cancel());
                    released.Set();
                    foreach (NativeRequest request in requests)
                    {
                        request.Wait().MustBeCancelled();
                        request.Dispose();
                    }
                }
            }
        }

        [Test]
        public void RequestsWhoseTransactionsAreDroppedAtOnceAreCompletedOnce()
        {
            var host = new StubClient(_ => StubClient.Answer("x"));
            using (var client = new NativeClient(new StubLogger(), host))
            {
                for (int i = 0; i < 500; i++)
                {
                    using (NativeRequest request = client.Get())
                    {
                        request.DropTransaction();
                        RequestOutcome outcome = request.Wait();
                        request.WaitForRelease();
                        Check.Equal(Result.Success, outcome.Result, "result");
                        Check.Equal(1, outcome.Completions, "completions");
                        Check.True(!outcome.HasError, "there is no error");
                    }
                }
            }
        }

        private static RequestOutcome PerformWithLogger(StubClient host, Func<LogEntry, bool> throwsAt)
        {
            var logger = new StubLogger(entry =>
            {
                if (throwsAt(entry))
                {
                    throw new HostException("the logger fails");
                }
            });
            using (var client = new NativeClient(logger, host))
            {
                return client.PerformGet();
            }
        }

        private static IEnumerable<string> ErrorsOf(Exception thrown)
        {
            return ErrorsOf(() => throw thrown);
        }

        private static IEnumerable<string> ErrorsOf(Action failing)
        {
            var logger = new StubLogger();
            var host = new StubClient(_ =>
            {
                failing();
                return StubClient.Answer("");
            });
            using (var client = new NativeClient(logger, host))
            {
                client.PerformGet().MustBeFailure();
            }
            return logger.MessagesOf("LogError").ToArray();
        }

        [MethodImpl(MethodImplOptions.NoInlining)]
        private static int LengthOf(string text)
        {
            return text.Length;
        }

        private sealed class HostException : Exception
        {
            private readonly string? text;

            internal HostException(string? text)
            {
                this.text = text;
            }

            public override string Message => text!;
        }

        private sealed class ThrowingMessageException : Exception
        {
            public override string Message => throw new InvalidOperationException("no message");
        }
    }
}
