namespace LumManagedTests
{
    /// <summary>What Wine 8, on which these tests run, does otherwise than they expect.</summary>
    internal static class Quirks
    {
        /// <summary>Each request takes a thread, and threads take longer to start.</summary>
        internal const int RequestsInARow = 5_000;

        /// <summary>Handles that the platform keeps for reuse.</summary>
        internal const int DescriptorSlack = 16;
    }
}
