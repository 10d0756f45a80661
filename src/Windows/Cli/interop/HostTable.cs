using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;
using LumUtilsCli;

namespace LumNetworkingCli
{
    /// <summary>
    /// The table through which the native library calls the host's objects. Nothing leaves its functions but a handle
    /// to what was thrown; each resolves its handles inside its <c>try</c>.
    /// </summary>
    /// <remarks>
    /// Native objects and their threads use the table until they end, so it is never given back. An application domain
    /// that may be unloaded closes its gate first.
    /// </remarks>
    internal static unsafe partial class HostTable
    {
        /// <summary>The table itself.</summary>
        internal static readonly NativeHostTable* Address = Make();

        private static NativeHostTable* Make()
        {
            var table = (NativeHostTable*)Marshal.AllocHGlobal(sizeof(NativeHostTable));
            table->Size = (uint)sizeof(NativeHostTable);
            table->Version = Abi.Version;
            SetFunctions(table);
            table->Gate = DomainGate.OfThisDomain();
            return table;
        }

        private static IntPtr DuplicateHandle(IntPtr handle, IntPtr* duplicate)
        {
            try
            {
                *duplicate = IntPtr.Zero;
                *duplicate = ObjectHandles.Allocate(ObjectHandles.Target(handle));
                return IntPtr.Zero;
            }
            catch (Exception exception)
            {
                return ObjectHandles.ForCaught(exception);
            }
        }

        private static IntPtr SendAndGetResponse(IntPtr client, NativeRequest* request, IntPtr receiver)
        {
            try
            {
                var target = (IHttpClientCli)ObjectHandles.Target(client)!;
                DomainGate.Enter();
                HttpResponseCli response = target.SendAndGetResponse(
                    request->Method.ToManaged()!, request->Url.ToManaged()!, HeadersOf(request),
                    request->Payload.ToManaged());
                DomainGate.Leave();
                Deliver(response, receiver);
                return IntPtr.Zero;
            }
            catch (Exception exception)
            {
                DomainGate.LeaveByException();
                return ObjectHandles.ForCaught(exception);
            }
        }

        private static Dictionary<string, string> HeadersOf(NativeRequest* request)
        {
            var headers = new Dictionary<string, string>();
            for (int i = 0; i < request->HeaderCount; i++)
            {
                NativeHeader* header = request->Headers + i;
                headers[header->Name.ToManaged()!] = header->Value.ToManaged()!;
            }
            return headers;
        }

        private static void Deliver(in HttpResponseCli response, IntPtr receiver)
        {
            if (NativeMethods.LumCliReceiveStatus(receiver, (int)response.HttpCode) != 0 ||
                !DeliverBody(response.Body, receiver) || response.Headers == null)
            {
                return;
            }
            foreach (string? line in response.Headers)
            {
                if (!DeliverHeader(line, receiver))
                {
                    return;
                }
            }
        }

        private static bool DeliverBody(string? body, IntPtr receiver)
        {
            fixed (char* text = body)
            {
                return NativeMethods.LumCliReceiveBody(receiver, text, LengthOf(body)) == 0;
            }
        }

        private static bool DeliverHeader(string? line, IntPtr receiver)
        {
            fixed (char* text = line)
            {
                return NativeMethods.LumCliReceiveHeader(receiver, text, LengthOf(line)) == 0;
            }
        }

        private static int LengthOf(string? text)
        {
            return text == null ? 0 : text.Length;
        }

        private static IntPtr SetSocksParameters(IntPtr client, NativeText* staTicket, NativeText* socksServerUrl)
        {
            try
            {
                var target = (ISocksHttpClientCli)ObjectHandles.Target(client)!;
                target.SetSocksParameters(staTicket->ToManaged()!, socksServerUrl->ToManaged()!);
                return IntPtr.Zero;
            }
            catch (Exception exception)
            {
                return ObjectHandles.ForCaught(exception);
            }
        }

        private static IntPtr Log(IntPtr logger, NativeLogRecord* record)
        {
            try
            {
                var target = (ILumUtilsLoggerDelegateCli)ObjectHandles.Target(logger)!;
                string file = record->File.ToManaged()!;
                string function = record->Function.ToManaged()!;
                string message = record->Message.ToManaged()!;
                switch (record->Level)
                {
                    case 0:
                        target.LogFatal(file, function, message, record->Line);
                        break;
                    case 1:
                        target.LogError(file, function, message, record->Line);
                        break;
                    case 2:
                        target.LogWarning(file, function, message, record->Line);
                        break;
                    case 3:
                        target.LogInfo(file, function, message, record->Line);
                        break;
                    case 4:
                        target.LogVerbose(file, function, message, record->Line);
                        break;
                    case 5:
                        target.LogAOL(file, function, message, record->Line);
                        break;
                }
                return IntPtr.Zero;
            }
            catch (Exception exception)
            {
                return ObjectHandles.ForCaught(exception);
            }
        }

        private static IntPtr CreateException(int kind, NativeText* text)
        {
            try
            {
                return ObjectHandles.Allocate(MakeException((ExceptionKind)kind, text->ToManaged()));
            }
            catch (Exception exception)
            {
                // What was thrown instead tells the truth as well.
                return ObjectHandles.ForCaught(exception);
            }
        }

        private static Exception MakeException(ExceptionKind kind, string? text)
        {
            switch (kind)
            {
                case ExceptionKind.ArgumentNull:
                    return new ArgumentNullException(text);
                case ExceptionKind.ArgumentOutOfRange:
                    return new ArgumentOutOfRangeException(text);
                case ExceptionKind.Argument:
                    return new ArgumentException(text);
                case ExceptionKind.InsufficientMemory:
                    return new InsufficientMemoryException();
                case ExceptionKind.OutOfMemory:
                    return new OutOfMemoryException();
                default:
                    return new ExternalException(text);
            }
        }

        private static IntPtr GetExceptionMessage(IntPtr exception, IntPtr receiver)
        {
            try
            {
                var target = (Exception)ObjectHandles.Target(exception)!;
                string? message = target.Message;
                fixed (char* text = message)
                {
                    NativeMethods.LumCliReceiveMessage(receiver, text, LengthOf(message));
                }
                return IntPtr.Zero;
            }
            catch (Exception thrown)
            {
                return ObjectHandles.ForCaught(thrown);
            }
        }
    }
}
