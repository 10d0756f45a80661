using System;
using System.Collections.Generic;
using System.Linq;
using System.Runtime.CompilerServices;
using System.Threading;
using LumNetworkingCli;

namespace LumManagedTests
{
    /// <summary>How long host objects live, and what many requests leave behind.</summary>
    internal sealed class LifetimeTest
    {
        [Test]
        public void HostObjectsLiveAsLongAsTheirClientAndNoLonger()
        {
            var witnesses = new List<WeakReference>();
            NativeClient client = CreateForgotten(witnesses);
            for (int i = 0; i < 20; i++)
            {
                Collect();
                Check.True(witnesses.All(witness => witness.IsAlive), "a host object was collected too early");
                Check.Equal("kept", client.PerformGet().Body);
            }
            client.Dispose();
            Check.True(AreCollected(witnesses), "a host object outlives its client");
        }

        [Test]
        public void HostObjectsLiveAsLongAsTheRequestsOfADestroyedClient()
        {
            using (var entered = new CountdownEvent(10))
            using (var released = new ManualResetEventSlim())
            {
                var witnesses = new List<WeakReference>();
                NativeRequest[] requests = StartForgotten(10, entered, released, witnesses);
                entered.Wait();
                Collect();
                Check.True(witnesses.All(witness => witness.IsAlive), "a host object was collected too early");
                released.Set();
                foreach (NativeRequest request in requests)
                {
                    RequestOutcome outcome = request.Wait();
                    outcome.MustBeSuccess();
                    Check.Equal("late", outcome.Body);
                    request.Dispose();
                }
                Check.True(AreCollected(witnesses), "a host object outlives its client and requests");
            }
        }

        [Test]
        public void HostObjectsOfAClientThatCouldNotBeCreatedAreLetGo()
        {
            var witnesses = new List<WeakReference>();
            FailToCreate(witnesses);
            Check.Equal(0L, Handles.Held, "handles left behind");
            Check.True(AreCollected(witnesses), "a host object is still held");
        }

        [Test]
        public void CollectionsWhileRequestsRunDoNoHarm()
        {
            using (var stop = new CancellationTokenSource())
            {
                var collector = new Thread(() =>
                {
                    while (!stop.IsCancellationRequested)
                    {
                        Collect();
                    }
                });
                collector.Start();
                try
                {
                    SendWhileCollecting();
                }
                finally
                {
                    stop.Cancel();
                    collector.Join();
                }
            }
        }

        [Test]
        public void TwoHundredRequestsAreInProgressAtOnce()
        {
            const int count = 200;
            using (var all = new CountdownEvent(count))
            {
                var host = new StubClient(call =>
                {
                    all.Signal();
                    Check.True(all.Wait(TimeSpan.FromSeconds(60)), "not all are in progress at once");
                    return StubClient.Answer(call.Url);
                });
                using (var client = new NativeClient(new StubLogger(), host))
                {
                    NativeRequest[] requests =
                        Enumerable.Range(0, count).Select(i => client.Get($"http://files.example/{i}")).ToArray();
                    for (int i = 0; i < count; i++)
                    {
                        RequestOutcome outcome = requests[i].Wait();
                        outcome.MustBeSuccess();
                        Check.Equal($"http://files.example/{i}", outcome.Body);
                        requests[i].Dispose();
                    }
                }
            }
        }

        [Test]
        public void RequestsInARowLeaveMemoryThreadsAndHandlesFlat()
        {
            const int count = Quirks.RequestsInARow;
            const long allowedGrowth = 8 << 20;
            var logger = new StubLogger { KeepsEntries = false };
            var host = new StubClient(call => StubClient.Answer(call.Payload ?? "", "X-A: 1")) { KeepsCalls = false };
            using (var client = new NativeClient(logger, host))
            {
                byte[] body = new byte[2000];
                SendInARow(client, count, body);
                Collect();
                int threads = Host.ThreadCount();
                int descriptors = Host.DescriptorCount();
                long handles = Handles.Held;
                long growth = long.MaxValue;
                for (int round = 0; round < 3 && growth >= allowedGrowth; round++)
                {
                    // A leak grows each time; what the collector keeps for itself does not.
                    growth = GrowthOf(() => SendInARow(client, count, body));
                }
                Check.True(growth < allowedGrowth, $"memory grew by {growth >> 10} KiB");
                Check.True(Host.WaitUntil(() => Host.ThreadCount() <= threads + 4),
                           $"threads grew from {threads} to {Host.ThreadCount()}");
                Check.True(Host.WaitUntil(() => Host.DescriptorCount() <= descriptors + Quirks.DescriptorSlack),
                           $"descriptors grew from {descriptors} to {Host.DescriptorCount()}");
                Check.Equal(handles, Handles.Held, "handles");
            }
        }

        [Test]
        public void ClientsComeAndGoWithoutLeavingHandles()
        {
            for (int i = 0; i < 2000; i++)
            {
                using (new NativeClient(new StubLogger(), new StubClient()))
                {
                    Check.Equal(3L, Handles.Held, "handles of one client");
                }
                Check.Equal(0L, Handles.Held, "handles left behind");
            }
        }

        [Test]
        public void TheHostMayUseTheClientWithinACall()
        {
            NativeClient? client = null;
            var host = new StubClient(call =>
                StubClient.Answer(call.Url.EndsWith("/outer") ? "outer " + client!.PerformGet("http://files.example/inner").Body
                                                              : "inner"));
            using (client = new NativeClient(new StubLogger(), host))
            {
                Check.Equal("outer inner", client.PerformGet("http://files.example/outer").Body);
            }
        }

        // What follows is not inlined, so that no reference to a host object stays on the test's stack.

        [MethodImpl(MethodImplOptions.NoInlining)]
        private static NativeClient CreateForgotten(List<WeakReference> witnesses)
        {
            return OnAnotherThread(() =>
            {
                var logger = new StubLogger();
                var host = new StubClient(_ => StubClient.Answer("kept"));
                witnesses.Add(new WeakReference(logger));
                witnesses.Add(new WeakReference(host));
                return new NativeClient(logger, host);
            });
        }

        [MethodImpl(MethodImplOptions.NoInlining)]
        private static NativeRequest[] StartForgotten(int count, CountdownEvent entered, ManualResetEventSlim released,
                                                      List<WeakReference> witnesses)
        {
            return OnAnotherThread(() =>
            {
                var logger = new StubLogger();
                var host = new StubClient(_ =>
                {
                    entered.Signal();
                    released.Wait();
                    return StubClient.Answer("late");
                });
                witnesses.Add(new WeakReference(logger));
                witnesses.Add(new WeakReference(host));
                using (var client = new NativeClient(logger, host))
                {
                    return Enumerable.Range(0, count).Select(_ => client.Get()).ToArray();
                }
            });
        }

        [MethodImpl(MethodImplOptions.NoInlining)]
        private static void FailToCreate(List<WeakReference> witnesses)
        {
            OnAnotherThread(() =>
            {
                var logger = new StubLogger(_ => throw new InvalidOperationException("no"));
                var host = new StubClient();
                witnesses.Add(new WeakReference(logger));
                witnesses.Add(new WeakReference(host));
                Check.Throws<InvalidOperationException>(
                    () => SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(logger, host));
                return 0;
            });
        }

        /// <summary>A thread that has ended has no stack on which a collector could find anything.</summary>
        private static T OnAnotherThread<T>(Func<T> work)
        {
            T result = default!;
            Exception? failure = null;
            var thread = new Thread(() =>
            {
                try
                {
                    result = work();
                }
                catch (Exception exception)
                {
                    failure = exception;
                }
            });
            thread.Start();
            thread.Join();
            if (failure != null)
            {
                throw new InvalidOperationException("the other thread failed", failure);
            }
            return result;
        }

        /// <summary>Of the host's objects nothing but the native client, and then its requests, knows.</summary>
        private static void SendWhileCollecting()
        {
            for (int round = 0; round < 20; round++)
            {
                var witnesses = new List<WeakReference>();
                NativeRequest[] requests = StartEchoes(witnesses);
                for (int i = 0; i < requests.Length; i++)
                {
                    RequestOutcome outcome = requests[i].Wait();
                    outcome.MustBeSuccess();
                    Check.Equal("body " + i, outcome.Body);
                    Check.SequenceEqual(new[] { "X-A=value " + i }, outcome.Headers);
                }
                Check.True(witnesses.All(witness => witness.IsAlive), "a host object was collected too early");
                Array.ForEach(requests, request => request.Dispose());
                Check.True(AreCollected(witnesses), "a host object outlives its client and requests");
            }
        }

        [MethodImpl(MethodImplOptions.NoInlining)]
        private static NativeRequest[] StartEchoes(List<WeakReference> witnesses)
        {
            return OnAnotherThread(() =>
            {
                var logger = new StubLogger();
                var host = new StubClient(call => StubClient.Answer(call.Payload!, "X-A: " + call.Headers["X-A"]));
                witnesses.Add(new WeakReference(logger));
                witnesses.Add(new WeakReference(host));
                using (var client = new NativeClient(logger, host))
                {
                    return Enumerable.Range(0, 20).Select(i => client.Start(
                        "POST", "http://files.example/", BytesOf("body " + i), (BytesOf("X-A"), BytesOf("value " + i)))).ToArray();
                }
            });
        }

        private static long GrowthOf(Action work)
        {
            Collect();
            long before = Host.ResidentBytes();
            work();
            Collect();
            return Host.ResidentBytes() - before;
        }

        private static void SendInARow(NativeClient client, int count, byte[] body)
        {
            for (int i = 0; i < count; i++)
            {
                client.Perform("POST", "http://files.example/", body).MustBeSuccess();
            }
        }

        private static byte[] BytesOf(string text)
        {
            return System.Text.Encoding.UTF8.GetBytes(text);
        }

        private static void Collect()
        {
            GC.Collect();
            GC.WaitForPendingFinalizers();
            GC.Collect();
        }

        private static bool AreCollected(List<WeakReference> witnesses)
        {
            return Host.WaitUntil(() =>
            {
                Collect();
                return witnesses.All(witness => !witness.IsAlive);
            }, 20);
        }
    }
}
