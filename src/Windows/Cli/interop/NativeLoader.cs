using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.IO;
using System.Runtime.InteropServices;

namespace LumNetworkingCli
{
    /// <summary>Where the native library's file may be, and loading it from there.</summary>
    internal static class NativeLoader
    {
        private const int LinuxResolveNow = 2;
        private const int WindowsAlteredSearchPath = 8;

        private static readonly bool IsWindows = RuntimeInformation.IsOSPlatform(OSPlatform.Windows);

        /// <summary>The name of the library's file.</summary>
        internal static readonly string FileName = NativeMethods.Library + (IsWindows ? ".dll" : ".so");

        /// <summary>
        /// Loads the library from beside the assembly or the program, as a package lays it out, if it is there. One
        /// that cannot be loaded is left to the ordinary way, which tells why.
        /// </summary>
        internal static void TryLoadFromPackageFolders()
        {
            foreach (string folder in PackageFolders())
            {
                string path = Path.Combine(folder, FileName);
                if (File.Exists(path) && TryLoad(path))
                {
                    return;
                }
            }
        }

        /// <summary>The first file of that name where the library is looked for, or null.</summary>
        internal static string? FindFile()
        {
            foreach (string folder in SearchedFolders())
            {
                string path = Path.Combine(folder, FileName);
                if (File.Exists(path))
                {
                    return path;
                }
            }
            return null;
        }

        /// <summary>The path of the library that is loaded, or null if it cannot be told.</summary>
        internal static string? LoadedFile()
        {
            foreach (ProcessModule module in Process.GetCurrentProcess().Modules)
            {
                string? path = module.FileName;
                if (path != null && string.Equals(Path.GetFileName(path), FileName, StringComparison.OrdinalIgnoreCase))
                {
                    return path;
                }
            }
            return null;
        }

        /// <summary>The folders in which the library is looked for, in order, each once.</summary>
        internal static IEnumerable<string> SearchedFolders()
        {
            var seen = new HashSet<string>();
            foreach (string folder in AllFolders())
            {
                string name = folder.TrimEnd(Path.DirectorySeparatorChar);
                if (name.Length > 0 && seen.Add(name))
                {
                    yield return name;
                }
            }
        }

        private static IEnumerable<string> AllFolders()
        {
            foreach (string folder in PackageFolders())
            {
                yield return folder;
            }
            foreach (string folder in FoldersOf(AppDomain.CurrentDomain.GetData("NATIVE_DLL_SEARCH_DIRECTORIES") as string))
            {
                yield return folder;
            }
            foreach (string folder in OwnFolders())
            {
                yield return folder;
            }
            foreach (string folder in FoldersOf(Environment.GetEnvironmentVariable(IsWindows ? "PATH" : "LD_LIBRARY_PATH")))
            {
                yield return folder;
            }
        }

        private static IEnumerable<string> PackageFolders()
        {
            string system = IsWindows ? "win" : "linux";
            string processor = RuntimeInformation.ProcessArchitecture.ToString().ToLowerInvariant();
            foreach (string folder in OwnFolders())
            {
                yield return Path.Combine(folder, "runtimes", system + "-" + processor, "native");
            }
        }

        private static IEnumerable<string> OwnFolders()
        {
            // Empty where the assembly is part of the program's own file.
            string? ofAssembly = Path.GetDirectoryName(typeof(NativeLoader).Assembly.Location);
            if (!string.IsNullOrEmpty(ofAssembly))
            {
                yield return ofAssembly!;
            }
            yield return AppContext.BaseDirectory;
        }

        private static string[] FoldersOf(string? list)
        {
            return (list ?? "").Split(new[] { Path.PathSeparator }, StringSplitOptions.RemoveEmptyEntries);
        }

        private static bool TryLoad(string path)
        {
            IntPtr module = IsWindows ? LoadLibraryExW(path, IntPtr.Zero, WindowsAlteredSearchPath)
                                      : dlopen(path, LinuxResolveNow);
            return module != IntPtr.Zero;
        }

        [DllImport("kernel32", CharSet = CharSet.Unicode, ExactSpelling = true, SetLastError = true)]
        private static extern IntPtr LoadLibraryExW(string path, IntPtr reserved, int flags);

        [DllImport("libc", CharSet = CharSet.Ansi, ExactSpelling = true)]
        private static extern IntPtr dlopen(string path, int flags);
    }
}
