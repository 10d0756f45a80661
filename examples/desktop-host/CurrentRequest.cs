using System;

namespace DesktopHost
{
    /// <summary>
    /// What the thread is busy with. The library carries each request out on a thread of its own, and logs there what became
    /// of it, so the client's name for the request is also the logger's.
    /// </summary>
    internal static class CurrentRequest
    {
        [ThreadStatic]
        private static string? name;

        internal static string Name => name ?? "";

        internal static void Begin(string method, string url)
        {
            name = $"{method} {url}";
        }
    }
}
