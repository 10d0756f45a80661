using System;
using System.Collections.Generic;
using System.Net;
using System.Runtime.CompilerServices;
using System.Runtime.InteropServices;
using LumNetworkingCli;
using LumUtilsCli;
using NativeLibrary = LumNetworkingCli.NativeLibrary;

namespace BoundaryBench
{
    /// <summary>The managed side of the benchmark: a host that answers at once. The native side measures.</summary>
    internal static unsafe class Program
    {
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        private delegate void BareCall();

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        private delegate void BareLog(NativeText* file, NativeText* function, NativeText* message);

        private static readonly BareCall RootedBareCall = () => { };
        private static readonly BareLog RootedBareLog = (file, function, message) =>
            Take(file->ToManaged(), function->ToManaged(), message->ToManaged());

        private struct BenchHost
        {
            internal NativeHostTable* Table;
            internal IntPtr Client;
            internal IntPtr Logger;
            internal IntPtr BareCall;
            internal IntPtr BareLog;
        }

        private static int Main(string[] arguments)
        {
            NativeLibrary.Require();
            var host = new BenchHost
            {
                Table = HostTable.Address,
                Client = ObjectHandles.Allocate(new EchoClient()),
                Logger = ObjectHandles.Allocate(new SilentLogger()),
                BareCall = Marshal.GetFunctionPointerForDelegate(RootedBareCall),
                BareLog = Marshal.GetFunctionPointerForDelegate(RootedBareLog),
            };
            return LumBenchBoundary(&host, arguments.Length > 0 ? arguments[0] : "build/bench");
        }

        [MethodImpl(MethodImplOptions.NoInlining)]
        private static void Take(string? file, string? function, string? message)
        {
        }

        [DllImport("liblum_bench_boundary", CallingConvention = CallingConvention.Cdecl)]
        private static extern int LumBenchBoundary(BenchHost* host,
                                                   [MarshalAs(UnmanagedType.LPUTF8Str)] string folder);

        private sealed class EchoClient : ISocksHttpClientCli
        {
            public HttpResponseCli SendAndGetResponse(string method, string requestUrl,
                                                      Dictionary<string, string> headers, string? payload)
            {
                return new HttpResponseCli { HttpCode = HttpStatusCode.OK, Body = payload ?? "" };
            }

            public void SetSocksParameters(string staTicket, string socksServerUrl)
            {
            }
        }

        private sealed class SilentLogger : ILumUtilsLoggerDelegateCli
        {
            public void LogFatal(string fileName, string functionName, string message, uint lineNumber)
            {
            }

            public void LogError(string fileName, string functionName, string message, uint lineNumber)
            {
            }

            public void LogWarning(string fileName, string functionName, string message, uint lineNumber)
            {
            }

            public void LogInfo(string fileName, string functionName, string message, uint lineNumber)
            {
            }

            public void LogVerbose(string fileName, string functionName, string message, uint lineNumber)
            {
            }

            public void LogAOL(string fileName, string functionName, string message, uint lineNumber)
            {
            }
        }
    }
}
