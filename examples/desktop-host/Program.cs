using System;
using System.Collections.Generic;
using System.IO;
using System.Linq;
using System.Threading;

namespace DesktopHost
{
    /// <summary>
    /// A desktop application in small: the managed part brings the log and the way through the proxy, the native part
    /// fetches, compares and stores.
    /// </summary>
    internal static class Program
    {
        private const int WrongUsage = 2;

        private static int Main(string[] arguments)
        {
            if (arguments.Contains("--help"))
            {
                Console.WriteLine(Options.Usage);
                return 0;
            }
            try
            {
                return Run(Options.Parse(arguments)) ? 0 : 1;
            }
            catch (FormatException exception)
            {
                Console.Error.WriteLine($"DesktopHost: {exception.Message}\n\n{Options.Usage}");
                return WrongUsage;
            }
        }

        private static bool Run(Options options)
        {
            Console.WriteLine($"Fetching {options.Urls.Count} files, each directly and through {options.Proxy.Authority}");
            Directory.CreateDirectory(options.Output);
            var logger = new MemoryLogger();
            using var client = new SocksHttpClient(options.Proxy, options.Credentials);
            using var module = new NativeModule(logger, client);
            for (int i = 0; i < options.Urls.Count; i++)
            {
                module.Fetch(options.Urls[i], Path.Combine(options.Output, FileNameFor(i, options.Urls[i])));
            }
            FetchState[] states = WaitForAll(module);
            bool isGood = true;
            for (int i = 0; i < states.Length; i++)
            {
                isGood &= Report(options.Urls[i], states[i], options.ExpectedToFail.Contains(options.Urls[i]));
            }
            ReportLog(logger);
            Console.WriteLine(isGood ? "All came out as expected." : "Not all came out as expected.");
            return isGood;
        }

        private static FetchState[] WaitForAll(NativeModule module)
        {
            const int redrawMilliseconds = 100;
            var progress = new ProgressLine();
            while (true)
            {
                FetchState[] states = Enumerable.Range(0, module.Count).Select(module.StateOf).ToArray();
                if (states.All(state => state.IsDone))
                {
                    progress.End(states);
                    return states;
                }
                progress.Show(states);
                Thread.Sleep(redrawMilliseconds);
            }
        }

        /// <summary>Tells what came of one file; whether that was expected.</summary>
        private static bool Report(string url, FetchState state, bool isExpectedToFail)
        {
            Console.WriteLine();
            Console.WriteLine(url);
            Console.WriteLine($"  direct   {Outcome(state.DirectStatus, state.DirectSize, state.DirectFailure)}");
            Console.WriteLine($"  proxy    {Outcome(state.ProxiedStatus, state.ProxiedSize, state.ProxiedFailure)}");
            if (state.ProxiedFailure.Length > 0)
            {
                Console.WriteLine("           why is told only to the log, below");
            }
            if (!state.HasFailed)
            {
                Console.WriteLine(state.IsSame ? "  compared the same, byte for byte"
                                               : "  compared different (what goes through the host is text)");
            }
            if (state.IsStored)
            {
                Console.WriteLine($"  stored   {state.Path}");
            }
            if (state.StoreFailure.Length > 0)
            {
                Console.WriteLine($"  stored   no: {state.StoreFailure}");
            }
            bool isGood = state.IsStored && new FileInfo(state.Path).Length == state.ProxiedSize;
            return isExpectedToFail ? state.HasFailed : isGood;
        }

        private static string Outcome(int status, long size, string failure)
        {
            return failure.Length > 0 ? "failed: " + failure : $"{status}, {size} bytes";
        }

        private static void ReportLog(MemoryLogger logger)
        {
            Console.WriteLine();
            List<string> troubles = logger.Troubles().ToList();
            Console.WriteLine($"The library logged {logger.Count} records through the proxy's client, " +
                              $"{troubles.Count} of trouble:");
            troubles.ForEach(trouble => Console.WriteLine("  " + trouble));
        }

        private static string FileNameFor(int index, string url)
        {
            string name = Uri.TryCreate(url, UriKind.Absolute, out Uri? uri) ? Path.GetFileName(uri.AbsolutePath) : "";
            string safe = new string(name.Where(unit => (unit < 128 && char.IsLetterOrDigit(unit)) || unit is '.' or '-' or '_').ToArray());
            return $"{index + 1:00}-{(safe.Length == 0 ? "index" : safe)}";
        }
    }
}
