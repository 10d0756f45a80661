using System;
using System.IO;

namespace LumManagedTests
{
    // Only on Windows may an entry of the path be quoted.
    internal sealed partial class NativeLibraryTest
    {
        [Test]
        public void InAQuotedFolderOfThePathItIsFound()
        {
            string library = Path.GetDirectoryName(RealLibrary())!;
            Check.Equal("created", OutputOfCopy($"C:\\no;such;folder;\"{library}\""));
            Check.Equal("created", OutputOfCopy($"\"C:\\with;separator\";\"{library}\";C:\\windows"));
        }

        [Test]
        public void EntriesOfThePathThatAreNoFoldersAreNamedLikeOthers()
        {
            string[] lines = OutputOfCopy("\"C:\\with;separator\";relative;C:\\a|b<c>;;\"").Split(new[] { '\n' }, 2);
            Check.Equal("System.DllNotFoundException", lines[0]);
            Check.Contains(", C:\\with;separator, C:\\a|b<c>.", lines[1]);
        }
    }
}
