using System;
using System.Runtime.CompilerServices;
using System.Runtime.InteropServices;

namespace LumNetworkingCli
{
    // The functions of the table as .NET can give them to native code: as they are, without a delegate in between.
    internal static unsafe partial class HostTable
    {
        private static void SetFunctions(NativeHostTable* table)
        {
            table->DuplicateHandle = (IntPtr)(delegate* unmanaged[Cdecl]<IntPtr, IntPtr*, IntPtr>)&EnterDuplicateHandle;
            table->ReleaseHandle = (IntPtr)(delegate* unmanaged[Cdecl]<IntPtr, void>)&EnterReleaseHandle;
            table->SendAndGetResponse =
                (IntPtr)(delegate* unmanaged[Cdecl]<IntPtr, NativeRequest*, IntPtr, IntPtr>)&EnterSendAndGetResponse;
            table->SetSocksParameters =
                (IntPtr)(delegate* unmanaged[Cdecl]<IntPtr, NativeText*, NativeText*, IntPtr>)&EnterSetSocksParameters;
            table->Log = (IntPtr)(delegate* unmanaged[Cdecl]<IntPtr, NativeLogRecord*, IntPtr>)&EnterLog;
            table->CreateException = (IntPtr)(delegate* unmanaged[Cdecl]<int, NativeText*, IntPtr>)&EnterCreateException;
            table->GetExceptionMessage =
                (IntPtr)(delegate* unmanaged[Cdecl]<IntPtr, IntPtr, IntPtr>)&EnterGetExceptionMessage;
        }

        [UnmanagedCallersOnly(CallConvs = new[] { typeof(CallConvCdecl) })]
        private static IntPtr EnterDuplicateHandle(IntPtr handle, IntPtr* duplicate)
        {
            return DuplicateHandle(handle, duplicate);
        }

        [UnmanagedCallersOnly(CallConvs = new[] { typeof(CallConvCdecl) })]
        private static void EnterReleaseHandle(IntPtr handle)
        {
            ObjectHandles.ReleaseForNative(handle);
        }

        [UnmanagedCallersOnly(CallConvs = new[] { typeof(CallConvCdecl) })]
        private static IntPtr EnterSendAndGetResponse(IntPtr client, NativeRequest* request, IntPtr receiver)
        {
            return SendAndGetResponse(client, request, receiver);
        }

        [UnmanagedCallersOnly(CallConvs = new[] { typeof(CallConvCdecl) })]
        private static IntPtr EnterSetSocksParameters(IntPtr client, NativeText* staTicket, NativeText* socksServerUrl)
        {
            return SetSocksParameters(client, staTicket, socksServerUrl);
        }

        [UnmanagedCallersOnly(CallConvs = new[] { typeof(CallConvCdecl) })]
        private static IntPtr EnterLog(IntPtr logger, NativeLogRecord* record)
        {
            return Log(logger, record);
        }

        [UnmanagedCallersOnly(CallConvs = new[] { typeof(CallConvCdecl) })]
        private static IntPtr EnterCreateException(int kind, NativeText* text)
        {
            return CreateException(kind, text);
        }

        [UnmanagedCallersOnly(CallConvs = new[] { typeof(CallConvCdecl) })]
        private static IntPtr EnterGetExceptionMessage(IntPtr exception, IntPtr receiver)
        {
            return GetExceptionMessage(exception, receiver);
        }
    }
}
