using System.Collections.Concurrent;
using System.Collections.Generic;
using System.Linq;
using LumUtilsCli;

namespace DesktopHost
{
    /// <summary>The application's log: it keeps records until they are shown.</summary>
    internal sealed class MemoryLogger : ILumUtilsLoggerDelegateCli
    {
        private readonly ConcurrentQueue<(string Level, string Text)> records = new ConcurrentQueue<(string, string)>();

        internal int Count => records.Count;

        /// <summary>The records that tell of trouble.</summary>
        internal IEnumerable<string> Troubles()
        {
            return from record in records
                   where record.Level is "fatal" or "error" or "warning"
                   select record.Level + ": " + record.Text;
        }

        public void LogFatal(string fileName, string functionName, string message, uint lineNumber)
        {
            Keep("fatal", functionName, message);
        }

        public void LogError(string fileName, string functionName, string message, uint lineNumber)
        {
            Keep("error", functionName, message);
        }

        public void LogWarning(string fileName, string functionName, string message, uint lineNumber)
        {
            Keep("warning", functionName, message);
        }

        public void LogInfo(string fileName, string functionName, string message, uint lineNumber)
        {
            Keep("info", functionName, message);
        }

        public void LogVerbose(string fileName, string functionName, string message, uint lineNumber)
        {
            Keep("verbose", functionName, message);
        }

        public void LogAOL(string fileName, string functionName, string message, uint lineNumber)
        {
            Keep("always", functionName, message);
        }

        private void Keep(string level, string function, string message)
        {
            string request = CurrentRequest.Name.Length > 0 ? $"[{CurrentRequest.Name}] " : "";
            records.Enqueue((level, $"{request}{function.Substring(function.LastIndexOf(':') + 1)}: {message}"));
        }
    }
}
