using System;
using System.Runtime.InteropServices;

namespace LumManagedTests
{
    /// <summary>The native part of the tests' host: what managed/native exports.</summary>
    internal static unsafe class Probe
    {
        private const string Library = "liblum_managed_probe";

        internal struct Text
        {
            internal byte* Bytes;
            internal long Length;

            internal byte[] ToArray()
            {
                var bytes = new byte[Length];
                if (Length > 0)
                {
                    Marshal.Copy((IntPtr)Bytes, bytes, 0, bytes.Length);
                }
                return bytes;
            }
        }

        internal struct Header
        {
            internal Text Name;
            internal Text Value;
        }

        internal struct Call
        {
            internal Text Method;
            internal Text Url;
            internal Text Body;
            internal Header* Headers;
            internal int HeaderCount;
            internal int FollowRedirects;
            internal int TimeoutSeconds;
        }

        internal struct Outcome
        {
            internal int Result;
            internal int HasResponse;
            internal int HasError;
            internal int HasTransaction;
            internal int OnCallersThread;
            internal int Completions;
            internal int StatusCode;
            internal int HeaderValues;
            internal Text Body;
            internal Text ErrorDomain;
            internal int ErrorCode;
            internal int ErrorFacts;
            internal Text ErrorDescription;
        }

        internal struct Record
        {
            internal Text File;
            internal Text Function;
            internal Text Format;
            internal uint Line;
            internal int Number;
            internal byte* Value;
        }

        /// <summary>Has the native part there before the first exception, of which it may have to see all.</summary>
        internal static void Load()
        {
            LumProbeFreeLogger(IntPtr.Zero);
        }

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr LumProbeCreateDirectClient();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void LumProbeDeleteClient(IntPtr client);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr LumProbeCreateClientWithTicket(void* table, IntPtr logger, Text* ticket,
                                                                     Text* server, IntPtr client, IntPtr* exception);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr LumProbeStart(IntPtr client, Call* call);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int LumProbeHasTransaction(IntPtr request);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void LumProbeCancel(IntPtr request);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void LumProbeDropTransaction(IntPtr request);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int LumProbeIsCompleted(IntPtr request);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int LumProbeWait(IntPtr request, Outcome* outcome);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int LumProbeWaitForRelease(IntPtr request);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void LumProbeHeaderValue(IntPtr request, int index, Header* header);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void LumProbeFree(IntPtr request);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr LumProbeCreateLogger();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr LumProbeCreateEmptyLogger();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr LumProbeCreateAdapter(void* table, IntPtr managedLogger);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void LumProbeFreeLogger(IntPtr logger);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int LumProbeLoggerUsers(IntPtr logger);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int LumProbeRecordCount(IntPtr logger);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int LumProbeRecord(IntPtr logger, int index, byte* message, int room);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr LumProbeLog(IntPtr logger, int level, Record* record);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr LumProbeCallLog(void* table, IntPtr managedLogger, void* record);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void LumProbeCallReleaseHandle(void* table, IntPtr handle);
    }
}
