using System;
using System.Diagnostics;
using System.IO;
using System.Linq;
using LumNetworkingCli;

namespace LumManagedTests
{
    /// <summary>
    /// Finding the native library, and what a host is told when it does not fit. Each test runs a copy of this program
    /// in a folder of its own.
    /// </summary>
    internal sealed class NativeLibraryTest : IDisposable
    {
        private const string LibraryFile = "liblumutilsWinCli.so";

        private static readonly string Own =
            $"LumUtilsWinCli {typeof(SocksHttpClientFactory).Assembly.GetName().Version!.ToString(3)} (64-bit Linux x64)";

        private readonly string folder = Path.Combine(Path.GetTempPath(), "lum-managed-" + Guid.NewGuid().ToString("N"));

        public NativeLibraryTest()
        {
            Directory.CreateDirectory(folder);
            foreach (string file in Directory.GetFiles(OwnFolder()))
            {
                File.Copy(file, Path.Combine(folder, Path.GetFileName(file)));
            }
            // Says only that the library is in the same folder; without it every folder counts.
            File.Delete(Path.Combine(folder, "LumManagedTests.deps.json"));
        }

        public void Dispose()
        {
            Directory.Delete(folder, true);
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
            File.Copy(RealLibrary(), Path.Combine(PackageFolder("linux-x64"), LibraryFile));
            Check.Equal("created", OutputOfCopy());
        }

        [Test]
        public void OnTheSystemsPathItIsFound()
        {
            Check.Equal("created", OutputOfCopy(Path.GetDirectoryName(RealLibrary())!));
        }

        [Test]
        public void AMissingLibraryIsNamedTogetherWithWhatWasLookedFor()
        {
            string[] lines = OutputOfCopy().Split(new[] { '\n' }, 2);
            Check.Equal("System.DllNotFoundException", lines[0]);
            Check.Contains($"The native library '{LibraryFile}' was not found, which {Own} needs.", lines[1]);
            Check.Contains($"Looked in: {folder}/runtimes/linux-x64/native, ", lines[1]);
            Check.Contains($", {folder}", lines[1]);
        }

        [Test]
        public void ALibraryForOtherProcessorsInThePackageIsLeftAlone()
        {
            File.Copy(RealLibrary(), Path.Combine(PackageFolder("linux-x86"), LibraryFile));
            Check.True(OutputOfCopy().StartsWith("System.DllNotFoundException\n", StringComparison.Ordinal), "not found");
        }

        [Test]
        public void ALibraryOfTheWrongWidthIsNamedTogetherWithTheRightOne()
        {
            const ushort elfMachineX86 = 3;
            byte[] image = File.ReadAllBytes(RealLibrary());
            image[4] = 1; // 32 bits
            image[18] = (byte)elfMachineX86;
            string path = Path.Combine(folder, LibraryFile);
            File.WriteAllBytes(path, image);
            Check.Equal(
                "System.BadImageFormatException\n" +
                $"The native library '{path}' is 32-bit Linux x86, but this process needs 64-bit Linux x64.",
                OutputOfCopy());
        }

        [Test]
        public void ALibraryOfAnotherSystemIsNamedTogetherWithTheRightOne()
        {
            var image = new byte[256];
            image[0] = (byte)'M';
            image[1] = (byte)'Z';
            image[0x3C] = 0x80;
            image[0x84] = 0x4C;
            image[0x85] = 0x01;
            string path = Path.Combine(folder, LibraryFile);
            File.WriteAllBytes(path, image);
            Check.Equal(
                "System.BadImageFormatException\n" +
                $"The native library '{path}' is 32-bit Windows x86, but this process needs 64-bit Linux x64.",
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
                    $"The native library '{path}' is no readable library, but this process needs 64-bit Linux x64.",
                    OutputOfCopy());
            }
        }

        [Test]
        public void ALibraryThatCannotBeLoadedIsNamedTogetherWithTheReason()
        {
            string path = Path.Combine(folder, LibraryFile);
            File.Copy(Built("liblum_without_dependency.so"), path);
            string[] lines = OutputOfCopy().Split(new[] { '\n' }, 2);
            Check.Equal("System.DllNotFoundException", lines[0]);
            Check.Contains($"The native library '{path}', which {Own} needs, could not be loaded: ", lines[1]);
            if (Host.IsDotNet)
            {
                Check.Contains("liblum_absent.so", lines[1]);
            }
        }

        [Test]
        public void ALibraryOfAnotherVersionIsNamedWithBothVersions()
        {
            string path = Path.Combine(folder, LibraryFile);
            File.Copy(Built("liblum_other_abi.so"), path);
            Check.Equal(
                "System.BadImageFormatException\n" +
                $"The native library '{path}' has version 9.8.7 with binary interface 7, but {Own} needs binary " +
                "interface 1.",
                OutputOfCopy());
        }

        [Test]
        public void ALibraryThatKnowsNoBoundaryIsNamed()
        {
            string path = Path.Combine(folder, LibraryFile);
            File.Copy(Built("liblum_without_abi.so"), path);
            Check.Equal(
                "System.BadImageFormatException\n" +
                $"The native library '{path}' is of another version: it tells no binary interface, but {Own} needs " +
                "binary interface 1.",
                OutputOfCopy());
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
            return Environment.GetEnvironmentVariable("LD_LIBRARY_PATH")!.Split(':')
                .Select(candidate => Path.Combine(candidate, file)).First(File.Exists);
        }

        private string PackageFolder(string platform)
        {
            return Directory.CreateDirectory(Path.Combine(folder, "runtimes", platform, "native")).FullName;
        }

        private string OutputOfCopy(string libraryPath = "")
        {
            string program = Path.Combine(folder, "LumManagedTests.dll");
            var start = new ProcessStartInfo
            {
                FileName = Process.GetCurrentProcess().MainModule!.FileName!,
                Arguments = Host.IsDotNet
                    ? $"exec --runtimeconfig {Path.ChangeExtension(program, "runtimeconfig.json")} {program} {LibraryProbe.Option}"
                    : $"{program} {LibraryProbe.Option}",
                RedirectStandardOutput = true,
                UseShellExecute = false,
            };
            start.EnvironmentVariables["LD_LIBRARY_PATH"] = libraryPath;
            using (Process process = Process.Start(start)!)
            {
                string output = process.StandardOutput.ReadToEnd();
                process.WaitForExit();
                Check.Equal(0, process.ExitCode, "exit code, after: " + output);
                return output.Trim();
            }
        }
    }
}
