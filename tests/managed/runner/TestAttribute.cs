using System;

namespace LumManagedTests
{
    /// <summary>A test: a public method without parameters. Each test gets an object of its own.</summary>
    [AttributeUsage(AttributeTargets.Method)]
    internal sealed class TestAttribute : Attribute
    {
        /// <summary>For what only .NET's own libraries have; the test does not exist on Mono.</summary>
        public bool DotNetOnly { get; set; }
    }
}
