using System;
using System.Diagnostics;
using System.IO;
using System.Runtime.InteropServices;
using System.Threading;

namespace LumManagedTests
{
    /// <summary>What the tests run on.</summary>
    internal static class Host
    {
        internal static readonly bool IsDotNet = Type.GetType("Mono.Runtime") == null;

        internal static readonly bool IsWindows = RuntimeInformation.IsOSPlatform(OSPlatform.Windows);

        /// <summary>The system's name, as messages of the library carry it.</summary>
        internal static readonly string System = IsWindows ? "Windows" : "Linux";

        /// <summary>The first part of the system's name in a package: "win" of "win-x64".</summary>
        internal static readonly string PackageSystem = IsWindows ? "win" : "linux";

        /// <summary>The variable that names the folders in which the system looks for libraries.</summary>
        internal static readonly string LibraryPathVariable = IsWindows ? "PATH" : "LD_LIBRARY_PATH";

        /// <summary>The processor's name, as messages and packages of the library carry it.</summary>
        internal static readonly string Processor = Bits == 64 ? "x64" : "x86";

        /// <summary>The name of the same kind of processor in the other width.</summary>
        internal static readonly string OtherProcessor = Bits == 64 ? "x86" : "x64";

        /// <summary>What libraries are for this process, as messages of the library say it.</summary>
        internal static readonly string Kind = $"{Bits}-bit {System} {Processor}";

        internal static string Description => $"{Runtime}, {Bits} bits";

        internal static int Bits => 8 * IntPtr.Size;

        internal static int OtherBits => Bits == 64 ? 32 : 64;

        private static string Runtime => IsDotNet ? RuntimeInformation.FrameworkDescription : "Mono " + Environment.Version;

        internal static string FileOfLibrary(string name)
        {
            return name + (IsWindows ? ".dll" : ".so");
        }

        internal static string Variable(string name)
        {
            return Environment.GetEnvironmentVariable(name) ??
                   throw new InvalidOperationException($"{name} is not set: start the tests with ./dev test");
        }

        /// <summary>The memory of this process that is not only reserved, in bytes.</summary>
        internal static long ResidentBytes()
        {
            if (IsWindows)
            {
                return OfThisProcess(process => process.WorkingSet64);
            }
            string pages = File.ReadAllText("/proc/self/statm").Split(' ')[1];
            return long.Parse(pages) * Environment.SystemPageSize;
        }

        /// <summary>The threads of this process, native ones included.</summary>
        internal static int ThreadCount()
        {
            return IsWindows ? OfThisProcess(process => process.Threads.Count)
                             : Directory.GetDirectories("/proc/self/task").Length;
        }

        /// <summary>The files, sockets and so on that this process has open.</summary>
        internal static int DescriptorCount()
        {
            return IsWindows ? OfThisProcess(process => process.HandleCount)
                             : Directory.GetFileSystemEntries("/proc/self/fd").Length;
        }

        private static T OfThisProcess<T>(Func<Process, T> value)
        {
            using (Process process = Process.GetCurrentProcess())
            {
                return value(process);
            }
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
