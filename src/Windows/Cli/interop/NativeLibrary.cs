using System;
using System.Runtime.CompilerServices;
using System.Runtime.InteropServices;
using System.Threading;

namespace LumNetworkingCli
{
    /// <summary>Finds the native library, and says clearly why it cannot be used.</summary>
    /// <remarks>
    /// .NET finds the library itself where a package or a publish has put it. Elsewhere (.NET Framework, Mono, a folder
    /// that was merely copied, an assembly that was loaded from bytes) nothing looks into the folders of a package or of
    /// the program, and one folder cannot hold the libraries of two processors: there the right one is loaded by its
    /// path, and then found loaded by its name.
    /// </remarks>
    internal static class NativeLibrary
    {
        private static bool isReady;

        /// <summary>Makes sure that the library is there and fits; throws if not, and looks again at the next call.</summary>
        internal static void Require()
        {
            if (!Volatile.Read(ref isReady))
            {
                NativeLoader.TryLoadFromFolders();
                CheckVersion();
                Volatile.Write(ref isReady, true);
            }
        }

        /// <summary>The exception for a library that has another binary interface.</summary>
        internal static Exception OtherVersion()
        {
            string path = LoadedPath();
            return new BadImageFormatException(
                $"The native library '{path}' has version {LibraryVersion()} with binary interface " +
                $"{NativeMethods.LumCliGetAbiVersion()}, but {Expectation()} needs binary interface {Abi.Version}.", path);
        }

        /// <summary>Not inlined: what it calls may be looked for as soon as its caller is compiled.</summary>
        [MethodImpl(MethodImplOptions.NoInlining)]
        private static void CheckVersion()
        {
            uint version;
            try
            {
                version = NativeMethods.LumCliGetAbiVersion();
            }
            catch (DllNotFoundException exception)
            {
                throw NotLoaded(exception);
            }
            catch (BadImageFormatException exception)
            {
                throw NotLoaded(exception);
            }
            catch (EntryPointNotFoundException exception)
            {
                string path = LoadedPath();
                throw new BadImageFormatException(
                    $"The native library '{path}' is of another version: it tells no binary interface, but " +
                    $"{Expectation()} needs binary interface {Abi.Version}.", path, exception);
            }
            if (version != Abi.Version)
            {
                throw OtherVersion();
            }
        }

        private static Exception NotLoaded(Exception cause)
        {
            string? path = NativeLoader.FindFile();
            if (path == null)
            {
                return new DllNotFoundException(
                    $"The native library '{NativeLoader.FileName}' was not found, which {Expectation()} needs. " +
                    $"Looked in: {string.Join(", ", NativeLoader.SearchedFolders())}.", cause);
            }
            BinaryKind found = BinaryKind.OfFile(path);
            BinaryKind expected = BinaryKind.OfProcess();
            if (!found.Equals(expected))
            {
                return new BadImageFormatException(
                    $"The native library '{path}' is {found}, but this process needs {expected}.", path, cause);
            }
            return new DllNotFoundException(
                $"The native library '{path}', which {Expectation()} needs, could not be loaded: {cause.Message}", cause);
        }

        private static string Expectation()
        {
            return $"LumUtilsWinCli {typeof(NativeLibrary).Assembly.GetName().Version!.ToString(3)} " +
                   $"({BinaryKind.OfProcess()})";
        }

        private static string LibraryVersion()
        {
            return Marshal.PtrToStringAnsi(NativeMethods.LumCliGetLibraryVersion()) ?? "unknown";
        }

        private static string LoadedPath()
        {
            return NativeLoader.LoadedFile() ?? NativeLoader.FindFile() ?? NativeLoader.FileName;
        }
    }
}
