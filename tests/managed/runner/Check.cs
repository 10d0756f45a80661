using System;
using System.Collections.Generic;
using System.Linq;

namespace LumManagedTests
{
    /// <summary>What a failed check throws.</summary>
    internal sealed class CheckFailedException : Exception
    {
        internal CheckFailedException(string message) : base(message)
        {
        }
    }

    /// <summary>The checks of the tests. The first that fails ends the test.</summary>
    internal static class Check
    {
        internal static void True(bool condition, string what)
        {
            if (!condition)
            {
                throw new CheckFailedException(what);
            }
        }

        internal static void Equal<T>(T expected, T actual, string what = "value")
        {
            if (!EqualityComparer<T>.Default.Equals(expected, actual))
            {
                throw new CheckFailedException($"{what}\n  expected: {Show(expected)}\n  actual:   {Show(actual)}");
            }
        }

        internal static void SequenceEqual<T>(IEnumerable<T> expected, IEnumerable<T> actual, string what = "values")
        {
            T[] wanted = expected.ToArray();
            T[] found = actual.ToArray();
            if (!wanted.SequenceEqual(found))
            {
                throw new CheckFailedException($"{what}\n  expected: {ShowAll(wanted)}\n  actual:   {ShowAll(found)}");
            }
        }

        internal static void Contains(string part, string? whole, string what = "text")
        {
            True(whole != null && whole.Contains(part), $"{what}: {Show(whole)} does not hold {Show(part)}");
        }

        /// <summary>The exception, which must be of the very type.</summary>
        internal static T Throws<T>(Action action) where T : Exception
        {
            try
            {
                action();
            }
            catch (Exception exception) when (exception.GetType() == typeof(T))
            {
                return (T)exception;
            }
            catch (Exception exception)
            {
                throw new CheckFailedException($"expected {typeof(T)}, but {exception.GetType()} was thrown: {exception}");
            }
            throw new CheckFailedException($"expected {typeof(T)}, but nothing was thrown");
        }

        private static string ShowAll<T>(IEnumerable<T> values)
        {
            return "[" + string.Join(", ", values.Select(value => Show(value))) + "]";
        }

        private static string Show(object? value)
        {
            string text = value == null ? "null" : value is string ? "\"" + value + "\"" : value.ToString()!;
            return text.Length > 400 ? text.Substring(0, 400) + $"... ({text.Length} characters)" : text;
        }
    }
}
