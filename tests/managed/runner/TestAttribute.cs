using System;

namespace LumManagedTests
{
    /// <summary>A test: a public method without parameters. Each test gets an object of its own.</summary>
    [AttributeUsage(AttributeTargets.Method)]
    internal sealed class TestAttribute : Attribute
    {
    }
}
