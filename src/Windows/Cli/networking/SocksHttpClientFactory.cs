using System;
using LumUtilsCli;

namespace LumNetworkingCli
{
    /// <summary>Creates native asynchronous HTTP clients whose requests go through the host's own HTTP client.</summary>
    /// <remarks>
    /// <code>
    /// IntPtr client = SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(logger, httpClient);
    /// NativePart.AdoptClient(client); // the native part of the host deletes it
    /// </code>
    /// The host's objects are kept alive by the native client and by its requests that are under way, and are released
    /// with the last of them.
    /// <para>
    /// Both operations throw, when the native library cannot be used: <see cref="DllNotFoundException"/> if it is
    /// missing or cannot be loaded, <see cref="BadImageFormatException"/> if it is for another processor or of another
    /// version. The message names the library and what was expected.
    /// </para>
    /// </remarks>
    public class SocksHttpClientFactory
    {
        /// <summary>Does nothing: the factory holds no state.</summary>
        public SocksHttpClientFactory()
        {
        }

        /// <summary>Creates a client that logs to a managed logger.</summary>
        /// <param name="logger">
        /// Receives the log records, on any thread. The first comes before this method returns, so null brings a
        /// <see cref="NullReferenceException"/>, and an exception of the logger comes out of this method.
        /// </param>
        /// <param name="socksHttpClientCli">Carries out the requests; called on threads of the library.</param>
        /// <returns>
        /// The address of a new native <c>LumNetworking::ILumAsynchronousHttpClient</c>. It belongs to the caller, whose
        /// native part destroys it through its virtual destructor.
        /// </returns>
        /// <exception cref="ArgumentNullException"><paramref name="socksHttpClientCli"/> is null.</exception>
        public static IntPtr CreateAsynchronousHttpClientWithSocksProxy(ILumUtilsLoggerDelegateCli logger,
                                                                        ISocksHttpClientCli socksHttpClientCli)
        {
            NativeLibrary.Require();
            return NativeFactory.CreateWithManagedLogger(logger, socksHttpClientCli);
        }

        /// <summary>Creates a client that logs to a native logger.</summary>
        /// <param name="logger">
        /// The address of a native shared pointer to the logger, which the client copies.
        /// </param>
        /// <param name="socksHttpClientCli">Carries out the requests; called on threads of the library.</param>
        /// <returns>
        /// The address of a new native <c>LumNetworking::ILumAsynchronousHttpClient</c>. It belongs to the caller, whose
        /// native part destroys it through its virtual destructor.
        /// </returns>
        /// <exception cref="ArgumentNullException">
        /// The shared pointer is empty, or <paramref name="socksHttpClientCli"/> is null.
        /// </exception>
        public static IntPtr CreateAsynchronousHttpClientWithSocksProxy(NativeLoggerPointer logger,
                                                                        ISocksHttpClientCli socksHttpClientCli)
        {
            NativeLibrary.Require();
            return NativeFactory.CreateWithNativeLogger(logger.Address, socksHttpClientCli);
        }
    }
}
