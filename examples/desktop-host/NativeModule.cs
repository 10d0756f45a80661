using System;
using System.Runtime.InteropServices;
using LumNetworkingCli;
using LumUtilsCli;

namespace DesktopHost
{
    /// <summary>How far one file is.</summary>
    internal sealed record FetchState(bool IsDirectDone, bool IsProxiedDone, int DirectStatus, int ProxiedStatus,
                                      long DirectSize, long ProxiedSize, bool IsSame, bool IsStored,
                                      string DirectFailure, string ProxiedFailure, string StoreFailure, string Path)
    {
        internal bool IsDone => IsDirectDone && IsProxiedDone;

        internal bool HasFailed => DirectFailure.Length > 0 || ProxiedFailure.Length > 0;
    }

    /// <summary>The native part of the application, which owns the native client.</summary>
    internal sealed class NativeModule : IDisposable
    {
        private const string Library = "liblum_desktop_module";

        private IntPtr module;

        internal NativeModule(ILumUtilsLoggerDelegateCli logger, ISocksHttpClientCli client)
        {
            IntPtr address = SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(logger, client);
            module = LumDesktopCreate(address);
            if (module == IntPtr.Zero)
            {
                throw new OutOfMemoryException();
            }
        }

        internal int Count { get; private set; }

        internal void Fetch(string url, string path)
        {
            if (LumDesktopFetch(module, url, path) == 0)
            {
                throw new OutOfMemoryException();
            }
            Count++;
        }

        internal FetchState StateOf(int index)
        {
            LumDesktopDescribe(module, index, out NativeState state);
            return new FetchState(state.IsDirectDone != 0, state.IsProxiedDone != 0, state.DirectStatus,
                                  state.ProxiedStatus, state.DirectSize, state.ProxiedSize, state.IsSame != 0,
                                  state.IsStored != 0, TextAt(state.DirectFailure), TextAt(state.ProxiedFailure),
                                  TextAt(state.StoreFailure), TextAt(state.Path));
        }

        public void Dispose()
        {
            LumDesktopDestroy(module);
            module = IntPtr.Zero;
        }

        private static string TextAt(IntPtr address)
        {
            return Marshal.PtrToStringUTF8(address) ?? "";
        }

        [StructLayout(LayoutKind.Sequential)]
        private struct NativeState
        {
            internal int IsDirectDone;
            internal int IsProxiedDone;
            internal int DirectStatus;
            internal int ProxiedStatus;
            internal long DirectSize;
            internal long ProxiedSize;
            internal int IsSame;
            internal int IsStored;
            internal IntPtr DirectFailure;
            internal IntPtr ProxiedFailure;
            internal IntPtr StoreFailure;
            internal IntPtr Path;
        }

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        private static extern IntPtr LumDesktopCreate(IntPtr client);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        private static extern int LumDesktopFetch(IntPtr module, [MarshalAs(UnmanagedType.LPUTF8Str)] string url,
                                                  [MarshalAs(UnmanagedType.LPUTF8Str)] string path);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        private static extern void LumDesktopDescribe(IntPtr module, int index, out NativeState state);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        private static extern void LumDesktopDestroy(IntPtr module);
    }
}
