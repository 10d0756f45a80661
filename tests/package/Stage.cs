using System;
using System.Collections.Generic;
using LumUtilsCli;

namespace PackageConsumer
{
    /// <summary>What an application has where it creates its client.</summary>
    internal static class Stage
    {
        internal static readonly KeepingLogger logger = new KeepingLogger();
    }

    internal sealed class KeepingLogger : ILumUtilsLoggerDelegateCli
    {
        internal List<string> Messages { get; } = new List<string>();

        public void LogFatal(string fileName, string functionName, string message, uint lineNumber)
        {
            Messages.Add(message);
        }

        public void LogError(string fileName, string functionName, string message, uint lineNumber)
        {
            Messages.Add(message);
        }

        public void LogWarning(string fileName, string functionName, string message, uint lineNumber)
        {
            Messages.Add(message);
        }

        public void LogInfo(string fileName, string functionName, string message, uint lineNumber)
        {
            Messages.Add(message);
        }

        public void LogVerbose(string fileName, string functionName, string message, uint lineNumber)
        {
            Messages.Add(message);
        }

        public void LogAOL(string fileName, string functionName, string message, uint lineNumber)
        {
            Messages.Add(message);
        }
    }

    /// <summary>Stands in for an application's native part: it looks at what it is given.</summary>
    internal static class NativePart
    {
        private const string Creation = "LumAsynchronousSocksHttpClient created for SOCKS5 proxy requests";

        internal static void AdoptClient(IntPtr client)
        {
            bool isGood = client != IntPtr.Zero && Stage.logger.Messages.Count == 1 && Stage.logger.Messages[0] == Creation;
            Console.WriteLine(isGood ? "the package works" : "the package does not work");
            Environment.Exit(isGood ? 0 : 1);
        }
    }
}
