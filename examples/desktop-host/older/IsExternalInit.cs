namespace System.Runtime.CompilerServices
{
    /// <summary>The compiler asks for it where there are records; older runtimes lack it.</summary>
    internal static class IsExternalInit
    {
    }
}
