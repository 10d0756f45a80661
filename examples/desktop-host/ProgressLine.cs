using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.Linq;

namespace DesktopHost
{
    /// <summary>
    /// One line that tells how far all files are: redrawn in place on a terminal, elsewhere written once a second.
    /// </summary>
    internal sealed class ProgressLine
    {
        private readonly bool isTerminal = !Console.IsOutputRedirected;
        private readonly Stopwatch watch = Stopwatch.StartNew();
        private int written;
        private int seconds;

        internal void Show(IReadOnlyCollection<FetchState> states)
        {
            string line = TextOf(states);
            if (isTerminal)
            {
                Console.Write("\r" + line.PadRight(written));
                written = line.Length;
            }
            else if (seconds != (int)watch.Elapsed.TotalSeconds)
            {
                seconds = (int)watch.Elapsed.TotalSeconds;
                Console.WriteLine(line);
            }
        }

        /// <summary>Writes the line for good.</summary>
        internal void End(IReadOnlyCollection<FetchState> states)
        {
            Console.WriteLine((isTerminal ? "\r" : "") + TextOf(states).PadRight(written));
        }

        private string TextOf(IReadOnlyCollection<FetchState> states)
        {
            const double bytesPerKibibyte = 1024;
            double kibibytes = states.Sum(state => state.DirectSize + state.ProxiedSize) / bytesPerKibibyte;
            return $"  {watch.Elapsed.TotalSeconds,4:0.0} s   direct {states.Count(state => state.IsDirectDone)}/{states.Count}" +
                   $"   proxy {states.Count(state => state.IsProxiedDone)}/{states.Count}   {kibibytes:0} KiB" +
                   $"   {states.Count(state => state.HasFailed)} failed";
        }
    }
}
