using System.Linq;
using System.Reflection;
using System.Runtime.InteropServices;
using LumNetworkingCli;

namespace LumManagedTests
{
    /// <summary>Where the system looks for what the assembly calls.</summary>
    internal sealed class SearchPathTest
    {
        private const BindingFlags Any = BindingFlags.Static | BindingFlags.Public | BindingFlags.NonPublic;

        [Test]
        public void EveryNativeFunctionIsLookedForInNamedPlacesOnly()
        {
            MethodInfo[] functions = (from type in typeof(SocksHttpClientFactory).Assembly.GetTypes()
                                      from method in type.GetMethods(Any)
                                      where method.IsDefined(typeof(DllImportAttribute))
                                      select method).ToArray();
            Check.True(functions.Length > 8, "there are functions");
            const DllImportSearchPath allowed = DllImportSearchPath.AssemblyDirectory |
                                                DllImportSearchPath.SafeDirectories | DllImportSearchPath.System32;
            foreach (MethodInfo function in functions)
            {
                var places = function.GetCustomAttribute<DefaultDllImportSearchPathsAttribute>() ??
                             function.Module.Assembly.GetCustomAttribute<DefaultDllImportSearchPathsAttribute>();
                Check.True(places != null && places.Paths != DllImportSearchPath.LegacyBehavior, function.Name);
                Check.Equal(default, places!.Paths & ~allowed, function.Name);
            }
        }
    }
}
