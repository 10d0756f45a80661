using System;
using System.Linq;
using System.Runtime.InteropServices;
using System.Threading;
using LumNetworkingCli;

namespace LumManagedTests
{
    /// <summary>What the functions of the table do where the runtime itself gives out.</summary>
    internal sealed unsafe class ThunkTest
    {
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        private delegate IntPtr LogFunction(IntPtr logger, NativeLogRecord* record);

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        private delegate IntPtr CreateExceptionFunction(int kind, NativeText* text);

        [Test]
        public void ARecordOfNoKnownLevelCallsNothing()
        {
            var logger = new StubLogger();
            IntPtr handle = ObjectHandles.Allocate(logger);
            try
            {
                foreach (int level in new[] { -1, 6, int.MinValue, int.MaxValue })
                {
                    Check.Equal(IntPtr.Zero, Log(handle, level));
                }
                Check.Equal(0, logger.Entries.Count, "records");
                Check.Equal(IntPtr.Zero, Log(handle, 5));
                Check.Equal("LogAOL", logger.Entries.Single().Operation);
            }
            finally
            {
                ObjectHandles.Release(handle);
            }
        }

        /// <summary>Where aborting is supported it is reset; elsewhere asking for it throws.</summary>
        [Test]
        public void AThreadAbortedByTheHostFailsTheRequestAndLeavesTheLibraryWorking()
        {
            string? message = null;
            var logger = new StubLogger();
            var host = new StubClient(call => call.Url.EndsWith("/abort") ? Abort(ref message) : StubClient.Answer("on"));
            using (var client = new NativeClient(logger, host))
            {
                for (int i = 0; i < 20; i++)
                {
                    client.PerformGet("http://files.example/abort").MustBeFailure();
                    Check.Equal("SOCKS HTTP request error: " + message, logger.MessagesOf("LogError").Last());
                    Check.Equal("on", client.PerformGet().Body);
                }
            }
        }

        [Test]
        public void AThreadAbortedByTheLoggerGetsTheAbortAsAnExceptionAndGoesOn()
        {
            string? message = null;
            var logger = new StubLogger(_ => Abort(ref message));
            Exception? caught = null;
            try
            {
                SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(logger, new StubClient());
            }
            catch (Exception exception)
            {
                caught = exception;
            }
            Check.Equal(message, caught?.Message, "message");
            Check.Equal(0L, Handles.Held, "handles left behind");
            Thread.Sleep(0); // An abort that is still asked for would come here.
            new NativeClient(new StubLogger(), new StubClient()).Dispose();
        }

        [Test]
        public void TheHandleForLackOfMemoryOutlivesEveryRelease()
        {
            long held = Handles.Held;
            LogFunction refusing = (logger, record) => ObjectHandles.OutOfMemory;
            IntPtr before = HostTable.Address->Log;
            HostTable.Address->Log = Marshal.GetFunctionPointerForDelegate(refusing);
            try
            {
                for (int i = 0; i < 3; i++)
                {
                    Check.Throws<OutOfMemoryException>(() =>
                        SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(new StubLogger(), new StubClient()));
                }
            }
            finally
            {
                HostTable.Address->Log = before;
                GC.KeepAlive(refusing);
            }
            Check.Equal(held, Handles.Held, "handles");
            Check.Equal(typeof(OutOfMemoryException), ObjectHandles.Target(ObjectHandles.OutOfMemory)!.GetType());
        }

        [Test]
        public void WhereNoExceptionCanBeMadeTheFactoryThrowsOutOfMemory()
        {
            CreateExceptionFunction refusing = (kind, text) => IntPtr.Zero;
            IntPtr before = HostTable.Address->CreateException;
            HostTable.Address->CreateException = Marshal.GetFunctionPointerForDelegate(refusing);
            try
            {
                Check.Throws<OutOfMemoryException>(() =>
                    SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(new StubLogger(), null!));
            }
            finally
            {
                HostTable.Address->CreateException = before;
                GC.KeepAlive(refusing);
            }
        }

        [Test]
        public void ATableThatTheLibraryDoesNotKnowIsRefusedWithBothVersions()
        {
            HostTable.Address->Version = Abi.Version + 1;
            try
            {
                var exception = Check.Throws<BadImageFormatException>(() =>
                    SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(new StubLogger(), new StubClient()));
                Check.Contains(Host.FileOfLibrary("liblumutilsWinCli") + "' has version ", exception.Message);
                Check.Contains("but LumUtilsWinCli ", exception.Message);
            }
            finally
            {
                HostTable.Address->Version = Abi.Version;
            }
        }

        private static IntPtr Log(IntPtr logger, int level)
        {
            fixed (char* text = "text")
            {
                var part = new NativeText { Address = text, Length = 4 };
                var record = new NativeLogRecord { Level = level, File = part, Function = part, Message = part };
                return Probe.LumProbeCallLog(HostTable.Address, logger, &record);
            }
        }

        /// <summary>Aborts this thread, and keeps the text of what that throws.</summary>
        private static HttpResponseCli Abort(ref string? message)
        {
            try
            {
#pragma warning disable SYSLIB0006
                Thread.CurrentThread.Abort();
#pragma warning restore SYSLIB0006
            }
            catch (Exception exception)
            {
                message = exception.Message;
                throw;
            }
            return default;
        }
    }
}
