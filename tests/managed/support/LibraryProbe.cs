using System;
using LumNetworkingCli;

namespace LumManagedTests
{
    /// <summary>
    /// What the program does when a test starts it again: it creates a client with whatever library there is, and tells
    /// how that went.
    /// </summary>
    internal static class LibraryProbe
    {
        internal const string Option = "--create-client";

        internal static int Run()
        {
            try
            {
                IntPtr client = SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(
                    new StubLogger(), new StubClient());
                Console.WriteLine("created");
                return client == IntPtr.Zero ? 1 : 0;
            }
            catch (Exception exception)
            {
                Console.WriteLine(exception.GetType().FullName);
                Console.WriteLine(exception.Message);
                return 0;
            }
        }
    }
}
