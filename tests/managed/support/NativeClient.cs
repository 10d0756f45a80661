using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;
using LumNetworkingCli;
using LumUtilsCli;

namespace LumManagedTests
{
    /// <summary>A native client that the native part has adopted.</summary>
    internal sealed unsafe class NativeClient : IDisposable
    {
        private IntPtr address;

        internal NativeClient(IntPtr address)
        {
            Check.True(address != IntPtr.Zero, "there is no client");
            this.address = address;
        }

        /// <summary>A client whose requests go through the host's objects.</summary>
        internal NativeClient(ILumUtilsLoggerDelegateCli logger, ISocksHttpClientCli client)
            : this(SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(logger, client))
        {
        }

        /// <summary>A client of the system's own HTTP stack.</summary>
        internal static NativeClient Direct()
        {
            return new NativeClient(Probe.LumProbeCreateDirectClient());
        }

        public void Dispose()
        {
            Probe.LumProbeDeleteClient(address);
            address = IntPtr.Zero;
        }

        internal NativeRequest Start(string method, string url, byte[]? body = null,
                                     params (byte[] Name, byte[] Value)[] headers)
        {
            using (var pins = new Pins())
            {
                var nativeHeaders = new Probe.Header[headers.Length];
                for (int i = 0; i < headers.Length; i++)
                {
                    nativeHeaders[i].Name = pins.Pin(headers[i].Name);
                    nativeHeaders[i].Value = pins.Pin(headers[i].Value);
                }
                fixed (Probe.Header* first = nativeHeaders)
                {
                    var call = new Probe.Call
                    {
                        Method = pins.Pin(method),
                        Url = pins.Pin(url),
                        Body = pins.Pin(body ?? Array.Empty<byte>()),
                        Headers = first,
                        HeaderCount = headers.Length,
                        FollowRedirects = 1,
                        TimeoutSeconds = 30,
                    };
                    return new NativeRequest(Probe.LumProbeStart(address, &call));
                }
            }
        }

        internal NativeRequest Get(string url = "http://files.example/")
        {
            return Start("GET", url);
        }

        /// <summary>Sends one request and waits for its outcome.</summary>
        internal RequestOutcome Perform(string method, string url, byte[]? body = null,
                                        params (byte[] Name, byte[] Value)[] headers)
        {
            using (NativeRequest request = Start(method, url, body, headers))
            {
                return request.Wait();
            }
        }

        internal RequestOutcome PerformGet(string url = "http://files.example/")
        {
            return Perform("GET", url);
        }
    }

    /// <summary>Bytes that stay where they are while a native call reads them.</summary>
    internal sealed unsafe class Pins : IDisposable
    {
        private readonly List<GCHandle> handles = new List<GCHandle>();

        internal Probe.Text Pin(byte[] bytes)
        {
            GCHandle handle = GCHandle.Alloc(bytes, GCHandleType.Pinned);
            handles.Add(handle);
            return new Probe.Text { Bytes = (byte*)handle.AddrOfPinnedObject(), Length = bytes.Length };
        }

        internal Probe.Text Pin(string text)
        {
            return Pin(NarrowTexts.Encode(text));
        }

        public void Dispose()
        {
            handles.ForEach(handle => handle.Free());
        }
    }

    internal enum Result
    {
        Success = 0,
        Failed = 1,
        Cancelled = 2,
    }

    /// <summary>What a completion was called with.</summary>
    internal sealed class RequestOutcome
    {
        internal Result Result { get; set; }
        internal bool HasResponse { get; set; }
        internal bool HasError { get; set; }
        internal bool HasTransaction { get; set; }
        internal bool OnCallersThread { get; set; }
        internal int Completions { get; set; }
        internal int StatusCode { get; set; }
        internal byte[] BodyBytes { get; set; } = Array.Empty<byte>();
        internal string Body => NarrowTexts.Decode(BodyBytes);

        /// <summary>Each value as "name=value", in order.</summary>
        internal List<string> Headers { get; } = new List<string>();
        internal string ErrorDomain { get; set; } = "";
        internal int ErrorCode { get; set; }
        internal int ErrorFacts { get; set; }
        internal string ErrorDescription { get; set; } = "";

        internal void MustBeSuccess(int statusCode = 200)
        {
            Check.Equal(Result.Success, Result, "result");
            Check.True(HasResponse && !HasError, "a success has a response and no error");
            Check.Equal(statusCode, StatusCode, "status");
        }

        internal void MustBeFailure()
        {
            Check.Equal(Result.Failed, Result, "result");
            Check.True(!HasResponse && HasError, "a failure has an error and no response");
            Check.Equal("com.corvan.clientlibs.liblumnetworking.error", ErrorDomain, "domain");
            Check.Equal(6, ErrorCode, "code");
            Check.Equal(0, ErrorFacts, "facts of the error");
        }

        internal void MustBeCancelled()
        {
            Check.Equal(Result.Cancelled, Result, "result");
            Check.True(!HasResponse && !HasError, "a cancelled request has neither response nor error");
        }
    }

    /// <summary>A request that was started. It may outlive its client.</summary>
    internal sealed unsafe class NativeRequest : IDisposable
    {
        private readonly IntPtr address;

        internal NativeRequest(IntPtr address)
        {
            this.address = address;
        }

        internal bool HasTransaction => Probe.LumProbeHasTransaction(address) != 0;
        internal bool IsCompleted => Probe.LumProbeIsCompleted(address) != 0;

        internal void Cancel()
        {
            Probe.LumProbeCancel(address);
        }

        internal void DropTransaction()
        {
            Probe.LumProbeDropTransaction(address);
        }

        internal RequestOutcome Wait()
        {
            Probe.Outcome native;
            Check.True(Probe.LumProbeWait(address, &native) != 0, "the request was never completed");
            var outcome = new RequestOutcome
            {
                Result = (Result)native.Result,
                HasResponse = native.HasResponse != 0,
                HasError = native.HasError != 0,
                HasTransaction = native.HasTransaction != 0,
                OnCallersThread = native.OnCallersThread != 0,
                Completions = native.Completions,
                StatusCode = native.StatusCode,
                BodyBytes = native.Body.ToArray(),
                ErrorDomain = Decode(native.ErrorDomain),
                ErrorCode = native.ErrorCode,
                ErrorFacts = native.ErrorFacts,
                ErrorDescription = Decode(native.ErrorDescription),
            };
            for (int i = 0; i < native.HeaderValues; i++)
            {
                Probe.Header header;
                Probe.LumProbeHeaderValue(address, i, &header);
                outcome.Headers.Add(Decode(header.Name) + "=" + Decode(header.Value));
            }
            return outcome;
        }

        /// <summary>Waits until the library holds nothing of the request any more.</summary>
        internal void WaitForRelease()
        {
            Check.True(Probe.LumProbeWaitForRelease(address) != 0, "the request is still held");
        }

        public void Dispose()
        {
            Probe.LumProbeFree(address);
        }

        private static string Decode(Probe.Text text)
        {
            return NarrowTexts.Decode(text.ToArray());
        }
    }
}
