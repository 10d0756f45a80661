using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.Linq;
using System.Reflection;

namespace LumManagedTests
{
    /// <summary>Finds the tests, runs them one after the other, and prints what the native test programs print.</summary>
    internal sealed class TestRunner
    {
        private readonly TestReport report = new TestReport();
        private int failed;
        private int passed;

        /// <summary>Runs those whose "Suite.Test" holds the text; returns whether all passed, and there were any.</summary>
        internal bool Run(string filter)
        {
            foreach (MethodInfo test in FindTests().Where(test => NameOf(test).Contains(filter)))
            {
                RunOne(test);
            }
            Console.WriteLine($"[  PASSED  ] {passed} tests.");
            if (failed > 0)
            {
                Console.WriteLine($"{failed} FAILED TESTS");
            }
            return failed == 0 && passed > 0;
        }

        internal void WriteReport(string path)
        {
            report.Write(path);
        }

        private static IEnumerable<MethodInfo> FindTests()
        {
            return from type in typeof(TestRunner).Assembly.GetTypes()
                   orderby type.Name
                   from method in type.GetMethods()
                   where method.IsDefined(typeof(TestAttribute))
                   orderby method.MetadataToken
                   select method;
        }

        private static string NameOf(MethodInfo test)
        {
            return test.DeclaringType!.Name + "." + test.Name;
        }

        private void RunOne(MethodInfo test)
        {
            Console.WriteLine($"[ RUN      ] {NameOf(test)}");
            Stopwatch watch = Stopwatch.StartNew();
            string? failure = FailureOf(test);
            report.Add(test.DeclaringType!.Name, test.Name, failure);
            if (failure == null)
            {
                passed++;
                Console.WriteLine($"[       OK ] {NameOf(test)} ({watch.ElapsedMilliseconds} ms)");
            }
            else
            {
                failed++;
                Console.WriteLine(failure);
                Console.WriteLine($"[  FAILED  ] {NameOf(test)} ({watch.ElapsedMilliseconds} ms)");
            }
        }

        /// <summary>Every test also fails that leaves a handle behind.</summary>
        private static string? FailureOf(MethodInfo test)
        {
            Handles.Reset();
            try
            {
                object fixture = Activator.CreateInstance(test.DeclaringType!)!;
                test.Invoke(fixture, null);
                (fixture as IDisposable)?.Dispose();
                Handles.WaitUntilHeld(0);
                return null;
            }
            catch (TargetInvocationException exception)
            {
                Exception cause = exception.InnerException!;
                return cause is CheckFailedException ? cause.Message + "\n" + cause.StackTrace : cause.ToString();
            }
            catch (Exception exception)
            {
                return exception.ToString();
            }
        }
    }
}
