using System;
using System.Linq;
using System.Threading;

namespace LumManagedTests
{
    /// <summary>Application domains that are unloaded while native code has a client of theirs.</summary>
    internal sealed class DomainUnloadTest
    {
        [Test]
        public void ALiveClientsRequestsFailOnceItsDomainIsGone()
        {
            AppDomain domain = Plugin.Load(out Plugin plugin);
            using (var client = new NativeClient(plugin.CreateClient(0)))
            {
                Check.Equal("of the plugin", client.PerformGet().Body);
                AppDomain.Unload(domain);
                for (int i = 0; i < 3; i++)
                {
                    FailsOnce(client.Get());
                }
            }
        }

        [Test]
        public void ARequestThatIsAnsweredInTimeSucceeds()
        {
            AppDomain domain = Plugin.Load(out Plugin plugin);
            using (var client = new NativeClient(plugin.CreateClient(100)))
            {
                NativeRequest request = client.Get();
                Check.True(Host.WaitUntil(() => plugin.Calls == 1), "the plugin is called");
                AppDomain.Unload(domain);
                using (request)
                {
                    RequestOutcome outcome = request.Wait();
                    Check.Equal(1, outcome.Completions, "completions");
                    outcome.MustBeSuccess();
                    Check.Equal("of the plugin", outcome.Body);
                }
            }
        }

        [Test]
        public void RequestsWhoseAnswersNeverComeFailOnce()
        {
            AppDomain domain = Plugin.Load(out Plugin plugin);
            UnloadWithRequests(domain, plugin, plugin.CreateClient(Timeout.Infinite));
        }

        [Test]
        public void AHostThatTurnsItsAbortIntoAnotherExceptionDoesNoHarm()
        {
            AppDomain domain = Plugin.Load(out Plugin plugin);
            UnloadWithRequests(domain, plugin, plugin.CreateStubbornClient());
        }

        [Test]
        public void RequestsThatComeAndGoMeanwhileCompleteOnce()
        {
            for (int round = 0; round < 10; round++)
            {
                AppDomain domain = Plugin.Load(out Plugin plugin);
                using (var client = new NativeClient(plugin.CreateClient(1)))
                {
                    int started = 0;
                    var requests = new NativeRequest[400];
                    var sender = new Thread(() =>
                    {
                        for (; started < requests.Length; Interlocked.Increment(ref started))
                        {
                            requests[started] = client.Get();
                        }
                    });
                    sender.Start();
                    Check.True(Host.WaitUntil(() => Volatile.Read(ref started) > 40 * round), "requests are sent");
                    AppDomain.Unload(domain);
                    sender.Join();
                    foreach (NativeRequest request in requests)
                    {
                        using (request)
                        {
                            RequestOutcome outcome = request.Wait();
                            Check.Equal(1, outcome.Completions, "completions");
                            Check.True(outcome.Result != Result.Cancelled, "result");
                        }
                    }
                }
            }
        }

        [Test]
        public void TheHostsOwnClientsGoOn()
        {
            using (var own = new NativeClient(new StubLogger(), new StubClient(_ => StubClient.Answer("of the host"))))
            {
                AppDomain domain = Plugin.Load(out Plugin plugin);
                new NativeClient(plugin.CreateClient(0)).Dispose();
                AppDomain.Unload(domain);
                Check.Equal("of the host", own.PerformGet().Body);
            }
        }

        private static void UnloadWithRequests(AppDomain domain, Plugin plugin, IntPtr address)
        {
            const int count = 20;
            using (var client = new NativeClient(address))
            {
                NativeRequest[] requests = Enumerable.Range(0, count).Select(_ => client.Get()).ToArray();
                Check.True(Host.WaitUntil(() => plugin.Calls == count), "the plugin is called");
                AppDomain.Unload(domain);
                Array.ForEach(requests, FailsOnce);
                FailsOnce(client.Get());
            }
        }

        private static void FailsOnce(NativeRequest request)
        {
            using (request)
            {
                RequestOutcome outcome = request.Wait();
                outcome.MustBeFailure();
                Check.Equal(1, outcome.Completions, "completions");
            }
        }
    }
}
