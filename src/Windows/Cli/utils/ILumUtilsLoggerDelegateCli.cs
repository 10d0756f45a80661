namespace LumUtilsCli
{
    /// <summary>The log sink that the host supplies. It receives finished records and decides what to keep.</summary>
    /// <remarks>
    /// Every operation takes the source path of the place that logs, the qualified name of its function, the finished
    /// message and the source line. Calls come on whatever thread logs, several at once: an implementation must accept
    /// concurrent calls. An exception goes to the native code that logged; out of
    /// <see cref="LumNetworkingCli.SocksHttpClientFactory"/> it reaches the host as it was thrown.
    /// </remarks>
    public interface ILumUtilsLoggerDelegateCli
    {
        /// <summary>Takes a record of level 0: the application cannot go on.</summary>
        /// <param name="fileName">The source path of the place that logs.</param>
        /// <param name="functionName">Its function, qualified.</param>
        /// <param name="message">The finished message.</param>
        /// <param name="lineNumber">The source line.</param>
        void LogFatal(string fileName, string functionName, string message, uint lineNumber);

        /// <summary>Takes a record of level 1: something failed.</summary>
        /// <param name="fileName">The source path of the place that logs.</param>
        /// <param name="functionName">Its function, qualified.</param>
        /// <param name="message">The finished message.</param>
        /// <param name="lineNumber">The source line.</param>
        void LogError(string fileName, string functionName, string message, uint lineNumber);

        /// <summary>Takes a record of level 2: something is not as it should be.</summary>
        /// <param name="fileName">The source path of the place that logs.</param>
        /// <param name="functionName">Its function, qualified.</param>
        /// <param name="message">The finished message.</param>
        /// <param name="lineNumber">The source line.</param>
        void LogWarning(string fileName, string functionName, string message, uint lineNumber);

        /// <summary>Takes a record of level 3: what the library does.</summary>
        /// <param name="fileName">The source path of the place that logs.</param>
        /// <param name="functionName">Its function, qualified.</param>
        /// <param name="message">The finished message.</param>
        /// <param name="lineNumber">The source line.</param>
        void LogInfo(string fileName, string functionName, string message, uint lineNumber);

        /// <summary>Takes a record of level 4: what the library does, in detail.</summary>
        /// <param name="fileName">The source path of the place that logs.</param>
        /// <param name="functionName">Its function, qualified.</param>
        /// <param name="message">The finished message.</param>
        /// <param name="lineNumber">The source line.</param>
        void LogVerbose(string fileName, string functionName, string message, uint lineNumber);

        /// <summary>Takes a record of level 5, always on: what is to be kept whatever the host's level is.</summary>
        /// <param name="fileName">The source path of the place that logs.</param>
        /// <param name="functionName">Its function, qualified.</param>
        /// <param name="message">The finished message.</param>
        /// <param name="lineNumber">The source line.</param>
        void LogAOL(string fileName, string functionName, string message, uint lineNumber);
    }
}
