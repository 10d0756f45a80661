using System;
using LumNetworkingCli;

namespace LumManagedTests
{
    /// <summary>Handles that cannot be released.</summary>
    internal sealed unsafe class ReleaseHandleTest
    {
        [Test]
        public void AHandleOfAnotherDomainLeavesNoException()
        {
            AppDomain domain = Plugin.Load(out Plugin plugin);
            IntPtr handle = plugin.AllocateHandle();
            Check.Throws<ArgumentException>(() => ObjectHandles.Release(handle));
            Probe.LumProbeCallReleaseHandle(HostTable.Address, handle);
            AppDomain.Unload(domain);
        }
    }
}
