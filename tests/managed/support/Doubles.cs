using System;
using System.Collections.Concurrent;
using System.Collections.Generic;
using System.Linq;
using System.Net;
using LumNetworkingCli;
using LumUtilsCli;

namespace LumManagedTests
{
    /// <summary>What the host's client was called with.</summary>
    internal sealed class HostCall
    {
        internal HostCall(string method, string requestUrl, Dictionary<string, string> headers, string? payload)
        {
            Method = method;
            Url = requestUrl;
            Headers = headers;
            Payload = payload;
        }

        internal string Method { get; }
        internal string Url { get; }
        internal Dictionary<string, string> Headers { get; }
        internal string? Payload { get; }
    }

    /// <summary>A host's client that answers as a test says, on several threads at once.</summary>
    internal sealed class StubClient : ISocksHttpClientCli
    {
        private readonly Func<HostCall, HttpResponseCli> answer;

        internal StubClient(Func<HostCall, HttpResponseCli>? answer = null)
        {
            this.answer = answer ?? (_ => Answer(""));
        }

        internal ConcurrentQueue<HostCall> Calls { get; } = new ConcurrentQueue<HostCall>();
        internal ConcurrentQueue<string> Parameters { get; } = new ConcurrentQueue<string>();
        internal Exception? ThrownByParameters { get; set; }

        /// <summary>Whether calls are kept; off where there are very many.</summary>
        internal bool KeepsCalls { get; set; } = true;

        internal static HttpResponseCli Answer(string body, params string[] headers)
        {
            return new HttpResponseCli
            {
                HttpCode = HttpStatusCode.OK,
                Headers = headers.ToList(),
                Body = body,
            };
        }

        public HttpResponseCli SendAndGetResponse(string method, string requestUrl, Dictionary<string, string> headers,
                                                  string? payload)
        {
            var call = new HostCall(method, requestUrl, headers, payload);
            if (KeepsCalls)
            {
                Calls.Enqueue(call);
            }
            return answer(call);
        }

        public void SetSocksParameters(string staTicket, string socksServerUrl)
        {
            Parameters.Enqueue(staTicket);
            Parameters.Enqueue(socksServerUrl);
            if (ThrownByParameters != null)
            {
                throw ThrownByParameters;
            }
        }
    }

    internal sealed class LogEntry
    {
        internal LogEntry(string operation, string fileName, string functionName, string message, uint lineNumber)
        {
            Operation = operation;
            File = fileName;
            Function = functionName;
            Message = message;
            Line = lineNumber;
        }

        internal string Operation { get; }
        internal string File { get; }
        internal string Function { get; }
        internal string Message { get; }
        internal uint Line { get; }
    }

    /// <summary>A host's logger that keeps its records and then does what a test says.</summary>
    internal sealed class StubLogger : ILumUtilsLoggerDelegateCli
    {
        private readonly Action<LogEntry>? onRecord;

        internal StubLogger(Action<LogEntry>? onRecord = null)
        {
            this.onRecord = onRecord;
        }

        internal ConcurrentQueue<LogEntry> Entries { get; } = new ConcurrentQueue<LogEntry>();

        /// <summary>Whether records are kept; off where there are very many.</summary>
        internal bool KeepsEntries { get; set; } = true;

        internal IEnumerable<string> MessagesOf(string operation)
        {
            return from entry in Entries where entry.Operation == operation select entry.Message;
        }

        public void LogFatal(string fileName, string functionName, string message, uint lineNumber)
        {
            Take(new LogEntry(nameof(LogFatal), fileName, functionName, message, lineNumber));
        }

        public void LogError(string fileName, string functionName, string message, uint lineNumber)
        {
            Take(new LogEntry(nameof(LogError), fileName, functionName, message, lineNumber));
        }

        public void LogWarning(string fileName, string functionName, string message, uint lineNumber)
        {
            Take(new LogEntry(nameof(LogWarning), fileName, functionName, message, lineNumber));
        }

        public void LogInfo(string fileName, string functionName, string message, uint lineNumber)
        {
            Take(new LogEntry(nameof(LogInfo), fileName, functionName, message, lineNumber));
        }

        public void LogVerbose(string fileName, string functionName, string message, uint lineNumber)
        {
            Take(new LogEntry(nameof(LogVerbose), fileName, functionName, message, lineNumber));
        }

        public void LogAOL(string fileName, string functionName, string message, uint lineNumber)
        {
            Take(new LogEntry(nameof(LogAOL), fileName, functionName, message, lineNumber));
        }

        private void Take(LogEntry entry)
        {
            if (KeepsEntries)
            {
                Entries.Enqueue(entry);
            }
            onRecord?.Invoke(entry);
        }
    }
}
