using System;
using System.IO;
using System.Runtime.InteropServices;
using System.Threading;

namespace LumManagedTests
{
    /// <summary>What the tests run on.</summary>
    internal static class Host
    {
        internal static readonly bool IsDotNet = Type.GetType("Mono.Runtime") == null;

        internal static string Description => IsDotNet ? RuntimeInformation.FrameworkDescription : "Mono " + Environment.Version;

        internal static string Variable(string name)
        {
            return Environment.GetEnvironmentVariable(name) ??
                   throw new InvalidOperationException($"{name} is not set: start the tests with ./dev test managed");
        }

        /// <summary>The memory of this process that is not only reserved, in bytes.</summary>
        internal static long ResidentBytes()
        {
            string pages = File.ReadAllText("/proc/self/statm").Split(' ')[1];
            return long.Parse(pages) * Environment.SystemPageSize;
        }

        /// <summary>The threads of this process, native ones included.</summary>
        internal static int ThreadCount()
        {
            return Directory.GetDirectories("/proc/self/task").Length;
        }

        /// <summary>The files, sockets and so on that this process has open.</summary>
        internal static int DescriptorCount()
        {
            return Directory.GetFileSystemEntries("/proc/self/fd").Length;
        }

        /// <summary>Waits until the condition holds; false if it never does.</summary>
        internal static bool WaitUntil(Func<bool> condition, int seconds = 60)
        {
            DateTime end = DateTime.UtcNow.AddSeconds(seconds);
            while (!condition())
            {
                if (DateTime.UtcNow > end)
                {
                    return false;
                }
                Thread.Sleep(2);
            }
            return true;
        }
    }
}
