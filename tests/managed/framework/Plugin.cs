using System;
using System.Threading;
using LumNetworkingCli;

namespace LumManagedTests
{
    /// <summary>A plugin in an application domain of its own, which hands the host the address of a native client.</summary>
    public sealed class Plugin : MarshalByRefObject
    {
        private int calls;

        /// <summary>How many calls of the plugin's HTTP client there were.</summary>
        public int Calls => Volatile.Read(ref calls);

        /// <summary>The client's answers take so long; they never come for <see cref="Timeout.Infinite"/>.</summary>
        public IntPtr CreateClient(int millisecondsOfAnswer)
        {
            var host = new StubClient(_ =>
            {
                Interlocked.Increment(ref calls);
                Thread.Sleep(millisecondsOfAnswer);
                return StubClient.Answer("of the plugin");
            });
            return SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(new StubLogger(), host);
        }

        /// <summary>The same, but with a host's client that takes no abort for an answer.</summary>
        public IntPtr CreateStubbornClient()
        {
            var host = new StubClient(_ =>
            {
                Interlocked.Increment(ref calls);
                try
                {
                    Thread.Sleep(Timeout.Infinite);
                }
                catch (ThreadAbortException)
                {
                    throw new InvalidOperationException("something else");
                }
                return default;
            });
            return SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(new StubLogger(), host);
        }

        public IntPtr AllocateHandle()
        {
            return ObjectHandles.Allocate(this);
        }

        internal static AppDomain Load(out Plugin plugin)
        {
            AppDomain domain = AppDomain.CreateDomain("plugin", null, AppDomain.CurrentDomain.SetupInformation);
            plugin = (Plugin)domain.CreateInstanceAndUnwrap(typeof(Plugin).Assembly.FullName, typeof(Plugin).FullName!);
            return domain;
        }

        public override object? InitializeLifetimeService()
        {
            return null;
        }
    }
}
