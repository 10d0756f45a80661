using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.IO;
using System.Linq;
using System.Runtime.InteropServices;
using System.Text;
#if NET
using System.Diagnostics.CodeAnalysis;
#endif

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
        /// Loads the library from the first folder that has one that can be loaded. What the system itself finds is left
        /// to it, and so is one that cannot be loaded: that way tells why.
        /// </summary>
        internal static void TryLoadFromFolders()
        {
            IEnumerable<string> folders = IsWindows ? SearchedFolders() : FoldersOfTheHost();
            foreach (string folder in folders)
            {
                string path = FileIn(folder);
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
                string path = FileIn(folder);
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
            foreach (string folder in FoldersOfTheHost())
            {
                yield return folder;
            }
            foreach (string folder in FoldersOfTheSystem())
            {
                yield return folder;
            }
        }

        private static IEnumerable<string> FoldersOfTheHost()
        {
            string system = IsWindows ? "win" : "linux";
            string processor = RuntimeInformation.ProcessArchitecture.ToString().ToLowerInvariant();
            foreach (string folder in OwnFolders())
            {
                yield return Path.Combine(folder, "runtimes", system + "-" + processor, "native");
            }
            foreach (string folder in Split(AppDomain.CurrentDomain.GetData("NATIVE_DLL_SEARCH_DIRECTORIES") as string))
            {
                yield return folder;
            }
            foreach (string folder in OwnFolders())
            {
                yield return folder;
            }
        }

        /// <summary>On Windows an entry may be quoted, and one without a root would lead into the current folder.</summary>
        private static IEnumerable<string> FoldersOfTheSystem()
        {
            if (!IsWindows)
            {
                return Split(Environment.GetEnvironmentVariable("LD_LIBRARY_PATH"));
            }
            return SplitQuoted(Environment.GetEnvironmentVariable("PATH") ?? "").Where(HasRoot);
        }

#if NET
        [UnconditionalSuppressMessage("SingleFile", "IL3000", Justification = "An empty location is looked out for.")]
#endif
        private static IEnumerable<string> OwnFolders()
        {
            // Empty where the assembly is part of the program's own file, or was loaded from bytes.
            string location = typeof(NativeLoader).Assembly.Location;
            if (location.Length > 0)
            {
                yield return Path.GetDirectoryName(location)!;
            }
            yield return AppContext.BaseDirectory;
        }

        private static string[] Split(string? list)
        {
            return (list ?? "").Split(new[] { Path.PathSeparator }, StringSplitOptions.RemoveEmptyEntries);
        }

        private static IEnumerable<string> SplitQuoted(string list)
        {
            bool isQuoted = false;
            var entry = new StringBuilder();
            foreach (char unit in list + Path.PathSeparator)
            {
                if (unit == '"')
                {
                    isQuoted = !isQuoted;
                }
                else if (unit != Path.PathSeparator || isQuoted)
                {
                    entry.Append(unit);
                }
                else
                {
                    yield return entry.ToString();
                    entry.Clear();
                }
            }
        }

        private static bool HasRoot(string folder)
        {
            return folder.StartsWith(@"\\", StringComparison.Ordinal) ||
                   (folder.Length > 2 && folder[1] == ':' && (folder[2] == '\\' || folder[2] == '/'));
        }

        /// <summary>Without a look at the folder's name: some runtimes throw at one that no file system takes.</summary>
        private static string FileIn(string folder)
        {
            return folder + Path.DirectorySeparatorChar + FileName;
        }

        private static bool TryLoad(string path)
        {
            IntPtr module = IsWindows ? LoadLibraryExW(path, IntPtr.Zero, WindowsAlteredSearchPath)
                                      : dlopen(path, LinuxResolveNow);
            return module != IntPtr.Zero;
        }

        [DllImport("kernel32", CharSet = CharSet.Unicode, ExactSpelling = true, SetLastError = true)]
        [DefaultDllImportSearchPaths(DllImportSearchPath.System32)]
        private static extern IntPtr LoadLibraryExW(string path, IntPtr reserved, int flags);

        [DllImport("libc", CharSet = CharSet.Ansi, ExactSpelling = true)]
        [DefaultDllImportSearchPaths(DllImportSearchPath.System32)]
        private static extern IntPtr dlopen(string path, int flags);
    }
}
