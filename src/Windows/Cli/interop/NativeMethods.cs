using System;
using System.Runtime.InteropServices;

// Never out of the current folder. Where PATH leads to the library, it is loaded by its path before.
[assembly: DefaultDllImportSearchPaths(DllImportSearchPath.AssemblyDirectory | DllImportSearchPath.SafeDirectories)]

namespace LumNetworkingCli
{
    /// <summary>The functions of the native library.</summary>
    internal static unsafe class NativeMethods
    {
        // With its prefix: only so the one name leads to the file on every system.
        internal const string Library = "liblumutilsWinCli";

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        internal static extern uint LumCliGetAbiVersion();

        /// <returns>A text that the library keeps, in ASCII and terminated.</returns>
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        internal static extern IntPtr LumCliGetLibraryVersion();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        internal static extern NativeStatus LumCliCreateSocksClientWithManagedLogger(NativeHostTable* table,
            IntPtr logger, IntPtr client, IntPtr* created, IntPtr* exception);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        internal static extern NativeStatus LumCliCreateSocksClientWithNativeLogger(NativeHostTable* table,
            IntPtr logger, IntPtr client, IntPtr* created, IntPtr* exception);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        internal static extern IntPtr LumCliCreateGate();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        internal static extern int LumCliCloseGate(IntPtr gate, int milliseconds);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        internal static extern int LumCliReceiveStatus(IntPtr receiver, int statusCode);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        internal static extern int LumCliReceiveBody(IntPtr receiver, char* text, int length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        internal static extern int LumCliReceiveHeader(IntPtr receiver, char* text, int length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        internal static extern int LumCliReceiveMessage(IntPtr receiver, char* text, int length);
    }
}
