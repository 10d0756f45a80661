using LumNetworkingCli;

namespace LumManagedTests
{
    /// <summary>The handles that native code holds to managed objects.</summary>
    internal static class Handles
    {
        private static long heldBefore;

        /// <summary>How many there are now, without those that a test before has left behind.</summary>
        internal static long Held => All - heldBefore;

        private static long All => ObjectHandles.AllocatedCount - ObjectHandles.ReleasedCount;

        /// <summary>From here on they are counted anew.</summary>
        internal static void Reset()
        {
            heldBefore = All;
        }

        /// <summary>A worker lets its last handle go after the completion, so a moment may pass.</summary>
        internal static void WaitUntilHeld(long count)
        {
            Check.True(Host.WaitUntil(() => Held == count, 30), $"{Held - count} handles are left behind");
        }
    }
}
