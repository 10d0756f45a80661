using System;
using System.IO;
using System.Reflection;

namespace LumManagedTests
{
    /// <summary>Loads an assembly as plugin hosts do that keep its file free: from its bytes.</summary>
    internal static class AssemblyBytes
    {
        internal const string Option = "--create-client-from-bytes";

        private const string Extension = ".bytes";

        /// <summary>From now on an assembly that is not found is loaded from the bytes beside the program.</summary>
        internal static void UseFor(string assembly)
        {
            AppDomain.CurrentDomain.AssemblyResolve += (sender, wanted) =>
                new AssemblyName(wanted.Name).Name == assembly
                    ? Assembly.Load(File.ReadAllBytes(Path.Combine(AppContext.BaseDirectory, assembly + Extension)))
                    : null;
        }

        /// <summary>Makes the assembly in the folder one that can only be loaded from bytes.</summary>
        internal static void Hide(string folder, string assembly)
        {
            File.Move(Path.Combine(folder, assembly + ".dll"), Path.Combine(folder, assembly + Extension));
        }

        internal static void Show(string folder, string assembly)
        {
            if (File.Exists(Path.Combine(folder, assembly + Extension)))
            {
                File.Move(Path.Combine(folder, assembly + Extension), Path.Combine(folder, assembly + ".dll"));
            }
        }
    }
}
