using System;
using System.Diagnostics;
using System.IO;
using System.Linq;
using LumNetworkingCli;

namespace LumManagedTests
{
    /// <summary>
    /// Finding the native library, and what a host is told when it does not fit. Each test puts a library, or none, beside
    /// a copy of this program, and runs it.
    /// </summary>
    internal sealed partial class NativeLibraryTest : IDisposable
    {
        private static readonly string LibraryFile = Host.FileOfLibrary("liblumutilsWinCli");

        private static readonly string Own =
            $"LumUtilsWinCli {typeof(SocksHttpClientFactory).Assembly.GetName().Version!.ToString(3)} ({Host.Kind})";

        private const string Assembly = "LumUtilsWinCli";

        private static readonly string ProgramFile = Path.GetFileName(typeof(NativeLibraryTest).Assembly.Location);

        private static readonly Lazy<string> CopyOfProgram = new Lazy<string>(CopyProgram);

        private readonly string folder = CopyOfProgram.Value;

        public void Dispose()
        {
            AssemblyBytes.Show(folder, Assembly);
            File.Delete(Path.Combine(folder, LibraryFile));
            if (Directory.Exists(Path.Combine(folder, "runtimes")))
            {
                Directory.Delete(Path.Combine(folder, "runtimes"), true);
            }
        }

        [Test]
        public void BesideTheAssemblyItIsFound()
        {
            File.Copy(RealLibrary(), Path.Combine(folder, LibraryFile));
            Check.Equal("created", OutputOfCopy());
        }

        [Test]
        public void InThePackagesFolderItIsFound()
        {
            File.Copy(RealLibrary(), Path.Combine(PackageFolder(Host.PackageSystem + "-" + Host.Processor), LibraryFile));
            Check.Equal("created", OutputOfCopy());
        }

        [Test]
        public void OnTheSystemsPathItIsFound()
        {
            Check.Equal("created", OutputOfCopy(Path.GetDirectoryName(RealLibrary())!));
        }

        [Test]
        public void AnAssemblyLoadedFromBytesFindsItBesideTheProgram()
        {
            AssemblyBytes.Hide(folder, Assembly);
            File.Copy(RealLibrary(), Path.Combine(folder, LibraryFile));
            Check.Equal("created", OutputOfCopy(option: AssemblyBytes.Option));
        }

        [Test]
        public void AnAssemblyLoadedFromBytesFindsItInThePackagesFolder()
        {
            AssemblyBytes.Hide(folder, Assembly);
            File.Copy(RealLibrary(), Path.Combine(PackageFolder(Host.PackageSystem + "-" + Host.Processor), LibraryFile));
            Check.Equal("created", OutputOfCopy(option: AssemblyBytes.Option));
        }

        [Test]
        public void AnAssemblyLoadedFromBytesFindsItOnTheSystemsPath()
        {
            AssemblyBytes.Hide(folder, Assembly);
            Check.Equal("created", OutputOfCopy(Path.GetDirectoryName(RealLibrary())!, AssemblyBytes.Option));
        }

        [Test]
        public void AnAssemblyLoadedFromBytesSaysWhereItLooked()
        {
            AssemblyBytes.Hide(folder, Assembly);
            string[] lines = OutputOfCopy(option: AssemblyBytes.Option).Split(new[] { '\n' }, 2);
            Check.Equal("System.DllNotFoundException", lines[0]);
            Check.Contains($"The native library '{LibraryFile}' was not found, which {Own} needs.", lines[1]);
            Check.Contains(folder, lines[1]);
        }

        [Test]
        public void ALibraryOnlyInTheCurrentFolderIsNotTaken()
        {
            string elsewhere = Directory.CreateDirectory(Path.Combine(folder, "elsewhere")).FullName;
            File.Copy(RealLibrary(), Path.Combine(elsewhere, LibraryFile), true);
            string output = OutputOfCopy(workingDirectory: elsewhere);
            Check.True(output.StartsWith("System.DllNotFoundException\n", StringComparison.Ordinal), output);
        }

        [Test]
        public void AMissingLibraryIsNamedTogetherWithWhatWasLookedFor()
        {
            string[] lines = OutputOfCopy().Split(new[] { '\n' }, 2);
            Check.Equal("System.DllNotFoundException", lines[0]);
            Check.Contains($"The native library '{LibraryFile}' was not found, which {Own} needs.", lines[1]);
            Check.Contains($"Looked in: {Path.Combine(folder, "runtimes", Host.PackageSystem + "-" + Host.Processor, "native")}, ", lines[1]);
            Check.Contains($", {folder}", lines[1]);
        }

        [Test]
        public void ALibraryForOtherProcessorsInThePackageIsLeftAlone()
        {
            File.Copy(RealLibrary(), Path.Combine(PackageFolder(Host.PackageSystem + "-" + Host.OtherProcessor), LibraryFile));
            Check.True(OutputOfCopy().StartsWith("System.DllNotFoundException\n", StringComparison.Ordinal), "not found");
        }

        [Test]
        public void ALibraryOfTheWrongWidthIsNamedTogetherWithTheRightOne()
        {
            string path = Path.Combine(folder, LibraryFile);
            File.WriteAllBytes(path, ImageOfOtherWidth());
            Check.Equal(
                "System.BadImageFormatException\n" +
                $"The native library '{path}' is {Host.OtherBits}-bit {Host.System} {Host.OtherProcessor}, " +
                $"but this process needs {Host.Kind}.",
                OutputOfCopy());
        }

        [Test]
        public void ALibraryOfAnotherSystemIsNamedTogetherWithTheRightOne()
        {
            byte[] image = Host.IsWindows ? ImageOfLinux() : ImageOfWindows();
            string path = Path.Combine(folder, LibraryFile);
            File.WriteAllBytes(path, image);
            Check.Equal(
                "System.BadImageFormatException\n" +
                $"The native library '{path}' is 32-bit {(Host.IsWindows ? "Linux" : "Windows")} x86, " +
                $"but this process needs {Host.Kind}.",
                OutputOfCopy());
        }

        [Test]
        public void AFileThatIsNoLibraryIsNamed()
        {
            foreach (string content in new[] { "", "MZ", "no library" })
            {
                string path = Path.Combine(folder, LibraryFile);
                File.WriteAllText(path, content);
                Check.Equal(
                    "System.BadImageFormatException\n" +
                    $"The native library '{path}' is no readable library, but this process needs {Host.Kind}.",
                    OutputOfCopy());
            }
        }

        [Test]
        public void ALibraryThatCannotBeLoadedIsNamedTogetherWithTheReason()
        {
            string path = Path.Combine(folder, LibraryFile);
            File.Copy(Built(Host.FileOfLibrary("liblum_without_dependency")), path);
            string[] lines = OutputOfCopy().Split(new[] { '\n' }, 2);
            Check.Equal("System.DllNotFoundException", lines[0]);
            Check.Contains($"The native library '{path}', which {Own} needs, could not be loaded: ", lines[1]);
            if (Host.IsDotNet && !Host.IsWindows) // the others do not say
            {
                Check.Contains("liblum_absent.so", lines[1]);
            }
        }

        [Test]
        public void ALibraryOfAnotherVersionIsNamedWithBothVersions()
        {
            string path = Path.Combine(folder, LibraryFile);
            File.Copy(Built(Host.FileOfLibrary("liblum_other_abi")), path);
            Check.Equal(
                "System.BadImageFormatException\n" +
                $"The native library '{path}' has version 9.8.7 with binary interface 7, but {Own} needs binary " +
                $"interface {Abi.Version}.",
                OutputOfCopy());
        }

        [Test]
        public void ALibraryThatKnowsNoBoundaryIsNamed()
        {
            string path = Path.Combine(folder, LibraryFile);
            File.Copy(Built(Host.FileOfLibrary("liblum_without_abi")), path);
            Check.Equal(
                "System.BadImageFormatException\n" +
                $"The native library '{path}' is of another version: it tells no binary interface, but {Own} needs " +
                $"binary interface {Abi.Version}.",
                OutputOfCopy());
        }

        /// <summary>A program may bring its runtime along; elsewhere the runtime is told what to run.</summary>
        private static string ArgumentsOfCopy(string program, string option)
        {
            if (BringsItsRuntime())
            {
                return option;
            }
            return Host.IsDotNet
                ? $"exec --runtimeconfig {Path.ChangeExtension(program, "runtimeconfig.json")} {program} {option}"
                : $"{program} {option}";
        }

        private static bool BringsItsRuntime()
        {
            return Path.GetFileNameWithoutExtension(RunningFile()) == "LumManagedTests";
        }

        private static string RunningFile()
        {
            return Process.GetCurrentProcess().MainModule!.FileName!;
        }

        /// <summary>The library itself, which says that it is for the other width.</summary>
        private static byte[] ImageOfOtherWidth()
        {
            const int elfWidth = 4;
            const int elfMachine = 18;
            const int peHeader = 0x3C;
            byte[] image = File.ReadAllBytes(RealLibrary());
            if (Host.IsWindows)
            {
                const ushort peMachineX86 = 0x14C;
                const ushort peMachineX64 = 0x8664;
                int machine = BitConverter.ToInt32(image, peHeader) + 4;
                BitConverter.GetBytes(Host.Bits == 64 ? peMachineX86 : peMachineX64).CopyTo(image, machine);
            }
            else
            {
                image[elfWidth] = 1;
                image[elfMachine] = 3;
            }
            return image;
        }

        /// <summary>The beginning of a 32-bit library of Windows.</summary>
        private static byte[] ImageOfWindows()
        {
            var image = new byte[256];
            image[0] = (byte)'M';
            image[1] = (byte)'Z';
            image[0x3C] = 0x80;
            image[0x84] = 0x4C;
            image[0x85] = 0x01;
            return image;
        }

        /// <summary>The beginning of a 32-bit library of Linux.</summary>
        private static byte[] ImageOfLinux()
        {
            var image = new byte[256];
            image[0] = 0x7F;
            image[1] = (byte)'E';
            image[2] = (byte)'L';
            image[3] = (byte)'F';
            image[4] = 1; // 32 bits
            image[5] = 1; // little-endian
            image[18] = 3; // x86
            return image;
        }

        /// <summary>One for all tests: on Windows it brings its runtime along, which takes its time.</summary>
        private static string CopyProgram()
        {
            string folder = Path.Combine(Path.GetTempPath(), "lum-managed-" + Guid.NewGuid().ToString("N"));
            Directory.CreateDirectory(folder);
            AppDomain.CurrentDomain.ProcessExit += (sender, arguments) => Directory.Delete(folder, true);
            foreach (string file in Directory.GetFiles(OwnFolder()))
            {
                File.Copy(file, Path.Combine(folder, Path.GetFileName(file)));
            }
            // Says only that the library is in the same folder; without it every folder counts.
            File.Delete(Path.Combine(folder, "LumManagedTests.deps.json"));
            return folder;
        }

        private static string OwnFolder()
        {
            return Path.GetDirectoryName(typeof(NativeLibraryTest).Assembly.Location)!;
        }

        private static string RealLibrary()
        {
            return Built(LibraryFile);
        }

        private static string Built(string file)
        {
            return Host.Variable(Host.LibraryPathVariable).Split(Path.PathSeparator)
                .Select(candidate => Path.Combine(candidate, file)).First(File.Exists);
        }

        private string PackageFolder(string platform)
        {
            return Directory.CreateDirectory(Path.Combine(folder, "runtimes", platform, "native")).FullName;
        }

        private string OutputOfCopy(string libraryPath = "", string option = LibraryProbe.Option,
                                    string workingDirectory = "")
        {
            var start = new ProcessStartInfo
            {
                FileName = BringsItsRuntime() ? Path.Combine(folder, Path.GetFileName(RunningFile())) : RunningFile(),
                Arguments = ArgumentsOfCopy(Path.Combine(folder, ProgramFile), option),
                WorkingDirectory = workingDirectory,
                RedirectStandardOutput = true,
                UseShellExecute = false,
            };
            start.EnvironmentVariables[Host.LibraryPathVariable] = libraryPath;
            using (Process process = Process.Start(start)!)
            {
                string output = process.StandardOutput.ReadToEnd();
                process.WaitForExit();
                Check.Equal(0, process.ExitCode, "exit code, after: " + output);
                return output.Trim().Replace("\r\n", "\n");
            }
        }
    }
}
