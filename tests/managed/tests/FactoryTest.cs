using System;
using System.Collections.Generic;
using System.Linq;
using System.Reflection;
using System.Runtime.CompilerServices;
using LumNetworkingCli;
using LumUtilsCli;

namespace LumManagedTests
{
    /// <summary>Creating clients: arguments, loggers, and what the host throws meanwhile.</summary>
    internal sealed unsafe class FactoryTest
    {
        [Test]
        public void AClientIsCreatedAndItsCreationLogged()
        {
            var logger = new StubLogger();
            var host = new StubClient();
            new NativeClient(logger, host).Dispose();
            LogEntry entry = logger.Entries.Single();
            Check.Equal("LogInfo", entry.Operation);
            Check.Equal("LumAsynchronousSocksHttpClient created for SOCKS5 proxy requests", entry.Message);
            Check.Equal(0, host.Parameters.Count, "the factory sends no proxy parameters");
            Check.Equal(0, host.Calls.Count, "requests");
        }

        [Test]
        public void ANullClientIsRefusedAndNothingIsCreated()
        {
            var logger = new StubLogger();
            var exception = Check.Throws<ArgumentNullException>(
                () => SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(logger, null!));
            Check.Equal("socksHttpClientCli", exception.ParamName);
            Check.Equal(new ArgumentNullException("socksHttpClientCli").Message, exception.Message);
            Check.Equal(0, logger.Entries.Count, "records");
        }

        [Test]
        public void ANullLoggerEndsWithTheRuntimesNullReference()
        {
            var exception = Check.Throws<NullReferenceException>(
                () => SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(null!, new StubClient()));
            ILumUtilsLoggerDelegateCli noLogger = null!;
            string expected = Check.Throws<NullReferenceException>(() => noLogger.LogInfo("", "", "", 0)).Message;
            Check.Equal(expected, exception.Message);
        }

        [Test]
        public void OfTwoNullsTheClientIsNamedBecauseTheLoggerIsWrapped()
        {
            var exception = Check.Throws<ArgumentNullException>(
                () => SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(
                    (ILumUtilsLoggerDelegateCli)null!, null!));
            Check.Equal("socksHttpClientCli", exception.ParamName);
        }

        [Test]
        public void AnEmptyNativeLoggerIsRefused()
        {
            IntPtr empty = Probe.LumProbeCreateEmptyLogger();
            try
            {
                var address = new NativeLoggerPointer(empty);
                Check.Equal("logger", ParameterRefusedFor(address, new StubClient()));
                Check.Equal("logger", ParameterRefusedFor(address, null));
            }
            finally
            {
                Probe.LumProbeFreeLogger(empty);
            }
        }

        [Test]
        public void TheAddressOfNoNativeLoggerIsRefused()
        {
            Check.Equal("logger", ParameterRefusedFor(default, new StubClient()));
            Check.Equal("logger", ParameterRefusedFor(default, null));
        }

        [Test]
        public void ANullClientIsRefusedWithANativeLoggerToo()
        {
            IntPtr logger = Probe.LumProbeCreateLogger();
            try
            {
                Check.Equal("socksHttpClientCli", ParameterRefusedFor(new NativeLoggerPointer(logger), null));
                Check.Equal(1, Probe.LumProbeLoggerUsers(logger), "users of the logger");
                Check.Equal(0, Probe.LumProbeRecordCount(logger), "records");
            }
            finally
            {
                Probe.LumProbeFreeLogger(logger);
            }
        }

        [Test]
        public void ANativeLoggerIsSharedWithTheClientAndGivenBack()
        {
            IntPtr logger = Probe.LumProbeCreateLogger();
            try
            {
                using (var client = new NativeClient(SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(
                           new NativeLoggerPointer(logger), new StubClient(_ => StubClient.Answer("x")))))
                {
                    Check.True(Probe.LumProbeLoggerUsers(logger) > 1, "the client shares the logger");
                    client.PerformGet("http://files.example/n").MustBeSuccess();
                }
                Check.True(Host.WaitUntil(() => Probe.LumProbeLoggerUsers(logger) == 1), "the logger is given back");
                Check.SequenceEqual(
                    new[]
                    {
                        "3 LumAsynchronousSocksHttpClient created for SOCKS5 proxy requests",
                        "3 LumAsynchronousSocksHttpClient: Making GET request to http://files.example/n",
                        "3 LumAsynchronousSocksHttpClient: Request completed with status 200",
                    },
                    RecordsOf(logger));
            }
            finally
            {
                Probe.LumProbeFreeLogger(logger);
            }
        }

        [Test]
        public void WhatTheLoggerThrowsComesOutAsTheSameObjectWithItsStack()
        {
            var thrown = new UnusualException();
            var logger = new StubLogger(_ => ThrowFromTheHost(thrown));
            var caught = Check.Throws<UnusualException>(
                () => SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(logger, new StubClient()));
            Check.True(ReferenceEquals(thrown, caught), "it is the very object");
            Check.Contains(nameof(ThrowFromTheHost), caught.StackTrace, "stack");
            Check.Contains("LumNetworkingCli.NativeFactory.", caught.StackTrace, "stack");
            Check.Equal(42, caught.Detail);
        }

        [Test]
        public void ALoggerMayThrowManyTimes()
        {
            for (int i = 0; i < 1000; i++)
            {
                var thrown = new UnusualException();
                var logger = new StubLogger(_ => throw thrown);
                var caught = Check.Throws<UnusualException>(
                    () => SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(logger, new StubClient()));
                Check.True(ReferenceEquals(thrown, caught), "it is the very object");
                Check.Equal(0L, Handles.Held, "handles left behind");
            }
        }

        /// <summary>The managed one comes through the runtime's own native code, as reflection does at first.</summary>
        [Test]
        public void ANativeExceptionMayFollowAManagedOneWhoseStackIsUsedAgain()
        {
            MethodInfo throwing = typeof(FactoryTest).GetMethod(nameof(ThrowToReflection),
                                                                BindingFlags.NonPublic | BindingFlags.Static)!;
            Check.Throws<TargetInvocationException>(() => throwing.Invoke(null, null));
            UseStack();
            Check.Throws<ArgumentNullException>(
                () => SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(new StubLogger(), null!));
        }

        [Test]
        public void TicketAndServerReachTheHostBeforeTheCreationIsLogged()
        {
            IntPtr logger = Probe.LumProbeCreateLogger();
            try
            {
                var host = new StubClient();
                IntPtr exception;
                new NativeClient(CreateWithTicket(logger, host, &exception)).Dispose();
                Check.SequenceEqual(new[] { "ticket " + NarrowTexts.Letters + "\0", "socks5://proxy.example:1080" }, host.Parameters);
                Check.SequenceEqual(
                    new[] { "3 LumAsynchronousSocksHttpClient created for SOCKS5 proxy requests with STA ticket" },
                    RecordsOf(logger));
            }
            finally
            {
                Probe.LumProbeFreeLogger(logger);
            }
        }

        [Test]
        public void WhatTheHostThrowsAtItsParametersComesOutAndNothingIsCreated()
        {
            IntPtr logger = Probe.LumProbeCreateLogger();
            try
            {
                var thrown = new UnusualException();
                var host = new StubClient { ThrownByParameters = thrown };
                IntPtr exception;
                Check.Equal(IntPtr.Zero, CreateWithTicket(logger, host, &exception));
                Check.True(ReferenceEquals(thrown, ObjectHandles.Target(exception)), "it is the very object");
                ObjectHandles.Release(exception);
                Check.Equal(0, Probe.LumProbeRecordCount(logger), "records");
                Check.Equal(1, Probe.LumProbeLoggerUsers(logger), "users of the logger");
            }
            finally
            {
                Probe.LumProbeFreeLogger(logger);
            }
        }

        private static IntPtr CreateWithTicket(IntPtr logger, ISocksHttpClientCli host, IntPtr* exception)
        {
            IntPtr handle = ObjectHandles.Allocate(host);
            try
            {
                using (var pins = new Pins())
                {
                    Probe.Text ticket = pins.Pin("ticket " + NarrowTexts.Letters + "\0");
                    Probe.Text server = pins.Pin("socks5://proxy.example:1080");
                    return Probe.LumProbeCreateClientWithTicket(HostTable.Address, logger, &ticket, &server, handle,
                                                                exception);
                }
            }
            finally
            {
                ObjectHandles.Release(handle);
            }
        }

        private static string? ParameterRefusedFor(NativeLoggerPointer logger, ISocksHttpClientCli? client)
        {
            return Check.Throws<ArgumentNullException>(
                () => SocksHttpClientFactory.CreateAsynchronousHttpClientWithSocksProxy(logger, client!)).ParamName;
        }

        private static IEnumerable<string> RecordsOf(IntPtr logger)
        {
            var records = new List<string>();
            byte* message = stackalloc byte[256];
            for (int i = 0; i < Probe.LumProbeRecordCount(logger); i++)
            {
                int level = Probe.LumProbeRecord(logger, i, message, 256);
                records.Add(level + " " + System.Runtime.InteropServices.Marshal.PtrToStringAnsi((IntPtr)message));
            }
            return records;
        }

        /// <summary>Leaves numbers that are no addresses below the caller's stack.</summary>
        [MethodImpl(MethodImplOptions.NoInlining)]
        private static void UseStack()
        {
            var room = stackalloc IntPtr[16 << 10];
            for (int i = 0; i < 16 << 10; i++)
            {
                room[i] = (IntPtr)3;
            }
            GC.KeepAlive(room[0]);
        }

        private static void ThrowToReflection()
        {
            throw new UnusualException();
        }

        [MethodImpl(MethodImplOptions.NoInlining)]
        private static void ThrowFromTheHost(Exception exception)
        {
            throw exception;
        }

        private sealed class UnusualException : Exception
        {
            internal int Detail { get; } = 42;
        }
    }
}
