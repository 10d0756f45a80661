namespace LumManagedTests
{
    /// <summary>What the tests expect. The file of the same name for Windows says what Wine does otherwise.</summary>
    internal static class Quirks
    {
        internal const int RequestsInARow = 20_000;

        /// <summary>Descriptors that come and go beside the requests.</summary>
        internal const int DescriptorSlack = 4;
    }
}
