using LumNetworkingCli;

namespace LumManagedTests
{
    /// <summary>The handles that native code holds to managed objects.</summary>
    internal static class Handles
    {
        /// <summary>How many there are now.</summary>
        internal static long Held => ObjectHandles.AllocatedCount - ObjectHandles.ReleasedCount;

        /// <summary>A worker lets its last handle go after the completion, so a moment may pass.</summary>
        internal static void WaitUntilHeld(long count)
        {
            Check.True(Host.WaitUntil(() => Held == count, 30), $"{Held - count} handles are left behind");
        }
    }
}
