using System;
using System.Collections.Generic;
using System.IO;
using System.Linq;
using System.Reflection;
using LumNetworkingCli;

namespace LumManagedTests
{
    /// <summary>What hosts compile against, as tests/managed/api.txt has it. Who changes the one changes the other.</summary>
    internal sealed class ApiTest
    {
        private const BindingFlags Declared = BindingFlags.Public | BindingFlags.NonPublic | BindingFlags.Instance |
                                              BindingFlags.Static | BindingFlags.DeclaredOnly;

        [Test]
        public void ThePublicSurfaceIsTheOneThatIsWrittenDown()
        {
            string[] found = Lines().ToArray();
            string all = "The surface is now:\n" + string.Join("\n", found);
            string[] written = WrittenDown();
            string[] added = found.Except(written).ToArray();
            string[] removed = written.Except(found).ToArray();
            Check.True(added.Length == 0, $"not written down: {string.Join("\n", added)}\n{all}");
            Check.True(removed.Length == 0, $"no longer there: {string.Join("\n", removed)}\n{all}");
            Check.SequenceEqual(written, found);
        }

        private static string[] WrittenDown()
        {
            using (Stream stream = typeof(ApiTest).Assembly.GetManifestResourceStream("api.txt")!)
            using (var reader = new StreamReader(stream))
            {
                return reader.ReadToEnd().Replace("\r", "").TrimEnd('\n').Split('\n');
            }
        }

        private static IEnumerable<string> Lines()
        {
            foreach (Type type in typeof(SocksHttpClientFactory).Assembly.GetExportedTypes()
                         .OrderBy(type => type.FullName, StringComparer.Ordinal))
            {
                yield return $"{KindOf(type)} {NameOf(type)}{BasesOf(type)}";
                foreach (string member in MembersOf(type).OrderBy(line => line, StringComparer.Ordinal))
                {
                    yield return "    " + member;
                }
            }
        }

        private static string KindOf(Type type)
        {
            return type.IsInterface ? "interface" : type.IsValueType ? "struct" : type.IsSealed ? "sealed class" : "class";
        }

        private static string BasesOf(Type type)
        {
            string[] bases = type.GetInterfaces().Select(NameOf).OrderBy(name => name, StringComparer.Ordinal).ToArray();
            return bases.Length == 0 ? "" : " : " + string.Join(", ", bases);
        }

        private static IEnumerable<string> MembersOf(Type type)
        {
            foreach (MemberInfo member in type.GetMembers(Declared))
            {
                switch (member)
                {
                    case FieldInfo field when IsShown(field.IsPublic, field.IsFamily || field.IsFamilyOrAssembly):
                        yield return $"{StaticOf(field.IsStatic)}{NameOf(field.FieldType)} {field.Name}";
                        break;
                    case MethodBase method when IsShown(method.IsPublic, method.IsFamily || method.IsFamilyOrAssembly):
                        yield return $"{StaticOf(method.IsStatic)}{ResultOf(method)}{method.Name}({ParametersOf(method)})";
                        break;
                }
            }
        }

        private static bool IsShown(bool isPublic, bool isForDerived)
        {
            return isPublic || isForDerived;
        }

        private static string StaticOf(bool isStatic)
        {
            return isStatic ? "static " : "";
        }

        private static string ResultOf(MethodBase method)
        {
            return method is MethodInfo operation ? NameOf(operation.ReturnType) + " " : "";
        }

        private static string ParametersOf(MethodBase method)
        {
            return string.Join(", ", method.GetParameters().Select(one => $"{NameOf(one.ParameterType)} {one.Name}"));
        }

        private static string NameOf(Type type)
        {
            string name = type.FullName ?? type.Name;
            if (!type.IsGenericType)
            {
                return name;
            }
            string plain = type.GetGenericTypeDefinition().FullName!;
            return $"{plain.Substring(0, plain.IndexOf('`'))}<{string.Join(", ", type.GetGenericArguments().Select(NameOf))}>";
        }
    }
}
