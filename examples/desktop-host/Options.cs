using System;
using System.Collections.Generic;
using System.IO;
using System.Net;

namespace DesktopHost
{
    /// <summary>What the command line says.</summary>
    internal sealed class Options
    {
        internal const string Usage =
            "usage: DesktopHost --socks HOST:PORT [--user NAME:PASSWORD] [--output FOLDER] [--failing URL] URL...\n" +
            "\n" +
            "Fetches each URL directly and through the SOCKS5 proxy, compares the two, and stores what is the same.\n" +
            "--failing names a URL that is expected to fail: its error is shown.\n" +
            "\n" +
            "The exit code is 0 if every URL came both ways and was the same, and the failing one failed.";

        internal Uri Proxy { get; private set; } = new Uri("socks5://localhost");
        internal NetworkCredential? Credentials { get; private set; }
        internal string Output { get; private set; } = Path.Combine(Path.GetTempPath(), "lum-desktop-host");
        internal List<string> Urls { get; } = new List<string>();
        internal HashSet<string> ExpectedToFail { get; } = new HashSet<string>();

        /// <summary>Throws <see cref="FormatException"/> with what is wrong.</summary>
        internal static Options Parse(string[] arguments)
        {
            var options = new Options();
            bool hasProxy = false;
            for (int i = 0; i < arguments.Length; i++)
            {
                string Value() => ++i < arguments.Length ? arguments[i] : throw new FormatException("a value is missing");
                switch (arguments[i])
                {
                    case "--socks":
                        options.Proxy = ParseProxy(Value());
                        hasProxy = true;
                        break;
                    case "--user":
                        options.Credentials = ParseCredentials(Value());
                        break;
                    case "--output":
                        options.Output = Path.GetFullPath(Value());
                        break;
                    case "--failing":
                        string failing = Value();
                        options.ExpectedToFail.Add(failing);
                        options.Urls.Add(failing);
                        break;
                    case var unknown when unknown.StartsWith('-'):
                        throw new FormatException($"there is no option '{unknown}'");
                    default:
                        options.Urls.Add(arguments[i]);
                        break;
                }
            }
            if (!hasProxy || options.Urls.Count == 0)
            {
                throw new FormatException("a proxy and at least one URL are needed");
            }
            return options;
        }

        private static Uri ParseProxy(string text)
        {
            if (!Uri.TryCreate("socks5://" + text, UriKind.Absolute, out Uri? uri) || uri.Port <= 0)
            {
                throw new FormatException($"'{text}' is no HOST:PORT");
            }
            return uri;
        }

        private static NetworkCredential ParseCredentials(string text)
        {
            int colon = text.IndexOf(':');
            return colon > 0 ? new NetworkCredential(text.Substring(0, colon), text.Substring(colon + 1))
                             : throw new FormatException("--user takes NAME:PASSWORD");
        }
    }
}
