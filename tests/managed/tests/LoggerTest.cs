using System;
using System.Linq;
using System.Threading;
using System.Threading.Tasks;
using LumNetworkingCli;

namespace LumManagedTests
{
    /// <summary>Native log records on their way to the host's logger.</summary>
    internal sealed unsafe class LoggerTest : IDisposable
    {
        private const int Info = 3;

        private readonly StubLogger logger = new StubLogger();
        private readonly IntPtr adapter;

        public LoggerTest()
        {
            adapter = AdapterFor(logger);
        }

        public void Dispose()
        {
            Probe.LumProbeFreeLogger(adapter);
        }

        [Test]
        public void EachLevelCallsItsOperation()
        {
            string[] operations = { "LogFatal", "LogError", "LogWarning", "LogInfo", "LogVerbose", "LogAOL" };
            for (int level = 0; level < operations.Length; level++)
            {
                Check.Equal(IntPtr.Zero, Log(adapter, level, "level %d", level));
            }
            Check.SequenceEqual(operations, logger.Entries.Select(entry => entry.Operation));
            Check.SequenceEqual(Enumerable.Range(0, 6).Select(level => "level " + level),
                                logger.Entries.Select(entry => entry.Message));
        }

        [Test]
        public void ARecordArrivesFormattedWithItsPlace()
        {
            Log(adapter, Info, "status %d", 404);
            LogEntry entry = logger.Entries.Single();
            Check.Equal("LogInfo", entry.Operation);
            Check.Equal("status 404", entry.Message);
            Check.Equal("src/caller.cpp", entry.File);
            Check.Equal("Caller::function", entry.Function);
            Check.Equal(4_000_000_000u, entry.Line);
        }

        [Test]
        public void ALongMessageIsDeliveredWhole()
        {
            foreach (int length in new[] { 255, 256, 1023, 1024, 4096, 100_000 })
            {
                string text = new string('x', length - 1) + "\u00e9";
                Log(adapter, Info, "%s|%d", 7, value: text);
                Check.True(logger.Entries.TryDequeue(out LogEntry? entry), "there is a record");
                Check.Equal(text + "|7", entry!.Message, $"a message of {length}");
            }
        }

        [Test]
        public void AMessageIsCutAtItsFirstNul()
        {
            Log(adapter, Info, "a%cb", 0);
            Check.Equal("a", logger.Entries.Single().Message);
        }

        [Test]
        public void PlacesAreCutAtTheirFirstNul()
        {
            Log(adapter, Info, "m", 0, file: "file\0rest", function: "function\0rest");
            LogEntry entry = logger.Entries.Single();
            Check.Equal("file", entry.File);
            Check.Equal("function", entry.Function);
        }

        [Test]
        public void AnEmptyMessageIsARecord()
        {
            Log(adapter, Info, "", 0, file: "", function: "");
            LogEntry entry = logger.Entries.Single();
            Check.Equal("", entry.Message);
            Check.Equal("", entry.File);
            Check.Equal("", entry.Function);
        }

        [Test]
        public void TextsMayHoldEveryLetterThatNativeTextsCanHold()
        {
            const string text = NarrowTexts.Letters;
            Log(adapter, Info, text + "%d", 1, file: text, function: text);
            LogEntry entry = logger.Entries.Single();
            Check.Equal(text + "1", entry.Message);
            Check.Equal(text, entry.File);
            Check.Equal(text, entry.Function);
        }

        [Test]
        public void WhatIsNoTextIsReplaced()
        {
            var thread = new Thread(() =>
            {
                NarrowTexts.RefuseInvalid();
                Log(adapter, Info, NarrowTexts.Invalid);
            });
            thread.Start();
            thread.Join();
            Check.Equal(NarrowTexts.InvalidAsRead, logger.Entries.Single().Message);
        }

        [Test]
        public void WithANullLoggerEveryRecordEndsWithANullReference()
        {
            IntPtr ofNull = AdapterFor(null);
            try
            {
                IntPtr exception = Log(ofNull, Info, "m", 0);
                Check.Equal(typeof(NullReferenceException), ObjectHandles.Target(exception)!.GetType());
                ObjectHandles.Release(exception);
            }
            finally
            {
                Probe.LumProbeFreeLogger(ofNull);
            }
        }

        [Test]
        public void WhatTheLoggerThrowsReachesWhoeverLogged()
        {
            var thrown = new InvalidOperationException("full");
            IntPtr throwing = AdapterFor(new StubLogger(_ => throw thrown));
            try
            {
                for (int level = 0; level < 6; level++)
                {
                    IntPtr exception = Log(throwing, level, "m", 0);
                    Check.True(ReferenceEquals(thrown, ObjectHandles.Target(exception)), "it is the very object");
                    ObjectHandles.Release(exception);
                }
            }
            finally
            {
                Probe.LumProbeFreeLogger(throwing);
            }
        }

        [Test]
        public void RecordsMayComeOnManyThreadsAtOnce()
        {
            const int threads = 8;
            const int records = 2000;
            Parallel.For(0, threads, new ParallelOptions { MaxDegreeOfParallelism = threads }, thread =>
            {
                for (int i = 0; i < records; i++)
                {
                    Log(adapter, Info, "record %d", thread * records + i);
                }
            });
            Check.SequenceEqual(
                Enumerable.Range(0, threads * records),
                logger.Entries.Select(entry => int.Parse(entry.Message.Substring(7))).OrderBy(number => number));
        }

        [Test]
        public void TheAdapterHoldsOneHandle()
        {
            Check.Equal(1L, Handles.Held, "handles");
        }

        private static IntPtr AdapterFor(StubLogger? logger)
        {
            IntPtr handle = ObjectHandles.Allocate(logger);
            try
            {
                return Probe.LumProbeCreateAdapter(HostTable.Address, handle);
            }
            finally
            {
                ObjectHandles.Release(handle);
            }
        }

        private static IntPtr Log(IntPtr adapter, int level, string format, int number, string? value = null,
                                  string file = "src/caller.cpp", string function = "Caller::function")
        {
            return Log(adapter, level, NarrowTexts.Encode(format), number, value, file, function);
        }

        private static IntPtr Log(IntPtr adapter, int level, byte[] format, int number = 0, string? value = null,
                                  string file = "src/caller.cpp", string function = "Caller::function")
        {
            using (var pins = new Pins())
            {
                var record = new Probe.Record
                {
                    File = pins.Pin(file),
                    Function = pins.Pin(function),
                    Format = pins.Pin(format),
                    Line = 4_000_000_000u,
                    Number = number,
                    Value = value == null ? null : pins.Pin(value + "\0").Bytes,
                };
                return Probe.LumProbeLog(adapter, level, &record);
            }
        }
    }
}
