using System;
using System.Linq;

namespace LumManagedTests
{
    /// <summary>
    /// Runs the managed tests: <c>LumManagedTests [--filter=TEXT] [--gtest_output=json:PATH]</c>. Tests that need the
    /// native library in another state start this program again with <c>--create-client</c>, or with
    /// <c>--create-client-from-bytes</c>.
    /// </summary>
    internal static class Program
    {
        private const string ReportOption = "--gtest_output=json:";
        private const string FilterOption = "--filter=";

        private static int Main(string[] arguments)
        {
            if (arguments.Contains(AssemblyBytes.Option))
            {
                AssemblyBytes.UseFor("LumUtilsWinCli");
                return LibraryProbe.Run();
            }
            if (arguments.Contains(LibraryProbe.Option))
            {
                return LibraryProbe.Run();
            }
            Console.WriteLine($"On {Host.Description}");
            Probe.Load();
            var runner = new TestRunner();
            bool isGood = runner.Run(ValueOf(FilterOption, arguments) ?? "");
            string? report = ValueOf(ReportOption, arguments);
            if (report != null)
            {
                runner.WriteReport(report);
            }
            return isGood ? 0 : 1;
        }

        private static string? ValueOf(string option, string[] arguments)
        {
            return arguments.LastOrDefault(argument => argument.StartsWith(option, StringComparison.Ordinal))
                ?.Substring(option.Length);
        }
    }
}
