using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;

namespace LumNetworkingCli
{
    // The functions of the table as .NET Framework and Mono can give them to native code: delegates, which are never let go.
    internal static unsafe partial class HostTable
    {
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        private delegate IntPtr DuplicateHandleFunction(IntPtr handle, IntPtr* duplicate);

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        private delegate void ReleaseHandleFunction(IntPtr handle);

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        private delegate IntPtr SendAndGetResponseFunction(IntPtr client, NativeRequest* request, IntPtr receiver);

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        private delegate IntPtr SetSocksParametersFunction(IntPtr client, NativeText* staTicket,
                                                           NativeText* socksServerUrl);

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        private delegate IntPtr LogFunction(IntPtr logger, NativeLogRecord* record);

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        private delegate IntPtr CreateExceptionFunction(int kind, NativeText* text);

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        private delegate IntPtr GetExceptionMessageFunction(IntPtr exception, IntPtr receiver);

        private static List<Delegate>? rooted;

        private static void SetFunctions(NativeHostTable* table)
        {
            table->DuplicateHandle = Root<DuplicateHandleFunction>(DuplicateHandle);
            table->ReleaseHandle = Root<ReleaseHandleFunction>(ObjectHandles.ReleaseForNative);
            table->SendAndGetResponse = Root<SendAndGetResponseFunction>(SendAndGetResponse);
            table->SetSocksParameters = Root<SetSocksParametersFunction>(SetSocksParameters);
            table->Log = Root<LogFunction>(Log);
            table->CreateException = Root<CreateExceptionFunction>(CreateException);
            table->GetExceptionMessage = Root<GetExceptionMessageFunction>(GetExceptionMessage);
        }

        private static IntPtr Root<T>(T function) where T : Delegate
        {
            rooted = rooted ?? new List<Delegate>();
            rooted.Add(function);
            return Marshal.GetFunctionPointerForDelegate(function);
        }
    }
}
