using System;
using System.Runtime.CompilerServices;
using System.Runtime.ExceptionServices;
using LumUtilsCli;

namespace LumNetworkingCli
{
    /// <summary>Creates native clients: lends the handles for the call, and throws what the call brings back.</summary>
    /// <remarks>
    /// To be called when <see cref="NativeLibrary.Require"/> has returned, and by no inlining before: a runtime may look
    /// for the library when it compiles a method that calls into it.
    /// </remarks>
    internal static unsafe class NativeFactory
    {
        [MethodImpl(MethodImplOptions.NoInlining)]
        internal static IntPtr CreateWithManagedLogger(ILumUtilsLoggerDelegateCli? logger, ISocksHttpClientCli? client)
        {
            IntPtr loggerHandle = IntPtr.Zero;
            IntPtr clientHandle = IntPtr.Zero;
            try
            {
                loggerHandle = ObjectHandles.Allocate(logger);
                clientHandle = ObjectHandles.Allocate(client);
                IntPtr created;
                IntPtr exception;
                NativeStatus status = NativeMethods.LumCliCreateSocksClientWithManagedLogger(
                    HostTable.Address, loggerHandle, clientHandle, &created, &exception);
                ThrowUnlessOk(status, exception);
                return created;
            }
            finally
            {
                ObjectHandles.Release(clientHandle);
                ObjectHandles.Release(loggerHandle);
            }
        }

        [MethodImpl(MethodImplOptions.NoInlining)]
        internal static IntPtr CreateWithNativeLogger(IntPtr logger, ISocksHttpClientCli? client)
        {
            IntPtr clientHandle = ObjectHandles.Allocate(client);
            try
            {
                IntPtr created;
                IntPtr exception;
                NativeStatus status = NativeMethods.LumCliCreateSocksClientWithNativeLogger(
                    HostTable.Address, logger, clientHandle, &created, &exception);
                ThrowUnlessOk(status, exception);
                return created;
            }
            finally
            {
                ObjectHandles.Release(clientHandle);
            }
        }

        private static void ThrowUnlessOk(NativeStatus status, IntPtr exception)
        {
            switch (status)
            {
                case NativeStatus.Ok:
                    return;
                case NativeStatus.Exception:
                    ThrowAndRelease(exception);
                    return;
                case NativeStatus.NoMemory:
                    throw new OutOfMemoryException();
                default:
                    throw NativeLibrary.OtherVersion();
            }
        }

        /// <summary>Throws the very object, with the stack that it has.</summary>
        private static void ThrowAndRelease(IntPtr handle)
        {
            var exception = (Exception)ObjectHandles.Target(handle)!;
            ObjectHandles.Release(handle);
            ExceptionDispatchInfo.Capture(exception).Throw();
        }
    }
}
