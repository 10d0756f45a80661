using System;
using System.Collections.Generic;
using System.Linq;
using System.Net;
using System.Reflection;
using System.Runtime.InteropServices;
using System.Runtime.Versioning;
using LumNetworkingCli;
using LumUtilsCli;

namespace LumManagedTests
{
    /// <summary>What hosts compile against, read back from the assembly.</summary>
    internal sealed class ContractTest
    {
        private const BindingFlags Declared = BindingFlags.Public | BindingFlags.Instance | BindingFlags.Static |
                                              BindingFlags.DeclaredOnly;

        private static readonly Assembly Contract = typeof(SocksHttpClientFactory).Assembly;

        [Test]
        public void NothingElseIsPublic()
        {
            Check.SequenceEqual(
                new[]
                {
                    "LumNetworkingCli.HttpResponseCli",
                    "LumNetworkingCli.IHttpClientCli",
                    "LumNetworkingCli.ISocksHttpClientCli",
                    "LumNetworkingCli.SocksHttpClientFactory",
                    "LumUtilsCli.ILumUtilsLoggerDelegateCli",
                    "LumUtilsCli.NativeLoggerPointer",
                },
                Contract.GetExportedTypes().Select(type => type.FullName!).OrderBy(name => name, StringComparer.Ordinal));
        }

        [Test]
        public void TheHttpClientInterfaceHasOneOperation()
        {
            Type type = typeof(IHttpClientCli);
            Check.True(type.IsInterface, "it is an interface");
            Check.Equal(0, type.GetInterfaces().Length, "interfaces");
            Check.SequenceEqual(
                new[]
                {
                    "HttpResponseCli SendAndGetResponse(String method, String requestUrl, " +
                    "Dictionary<String,String> headers, String payload)",
                },
                SignaturesOf(type));
        }

        [Test]
        public void TheSocksClientInterfaceAddsOneOperation()
        {
            Type type = typeof(ISocksHttpClientCli);
            Check.True(type.IsInterface, "it is an interface");
            Check.SequenceEqual(new[] { typeof(IHttpClientCli) }, type.GetInterfaces());
            Check.SequenceEqual(new[] { "Void SetSocksParameters(String staTicket, String socksServerUrl)" },
                                SignaturesOf(type));
        }

        [Test]
        public void TheLoggerInterfaceHasOneOperationForEachLevelInTheirOrder()
        {
            Type type = typeof(ILumUtilsLoggerDelegateCli);
            Check.True(type.IsInterface, "it is an interface");
            Check.Equal(0, type.GetInterfaces().Length, "interfaces");
            string[] names = { "LogFatal", "LogError", "LogWarning", "LogInfo", "LogVerbose", "LogAOL" };
            Check.SequenceEqual(
                names.Select(name =>
                    $"Void {name}(String fileName, String functionName, String message, UInt32 lineNumber)"),
                SignaturesOf(type));
        }

        [Test]
        public void TheResponseIsASequentialValueWithPublicFields()
        {
            Type type = typeof(HttpResponseCli);
            Check.True(type.IsValueType && type.IsSealed && type.IsLayoutSequential, "it is a sealed sequential value");
            Check.Equal(typeof(ValueType), type.BaseType!);
            IEnumerable<string> fields = type.GetFields(Declared | BindingFlags.NonPublic)
                .OrderBy(field => field.MetadataToken)
                .Select(field => $"{(field.IsPublic ? "public " : "")}{NameOf(field.FieldType)} {field.Name}");
            Check.SequenceEqual(
                new[] { "public HttpStatusCode HttpCode", "public List<String> Headers", "public String Body" }, fields);
            Check.Equal(typeof(HttpStatusCode), type.GetField("HttpCode")!.FieldType);
            Check.Equal(3, type.GetMembers(Declared).Length, "members");
        }

        [Test]
        public void TheFactoryIsAnOpenClassWithTwoStaticOverloads()
        {
            Type type = typeof(SocksHttpClientFactory);
            Check.True(type.IsClass && !type.IsSealed && !type.IsAbstract, "it is a class that is not sealed");
            Check.Equal(typeof(object), type.BaseType!);
            Check.Equal(0, type.GetInterfaces().Length, "interfaces");
            Check.SequenceEqual(new[] { 0 }, type.GetConstructors().Select(made => made.GetParameters().Length));
            Check.Equal(0, type.GetFields(Declared | BindingFlags.NonPublic).Length, "fields");
            Check.SequenceEqual(
                new[]
                {
                    "static IntPtr CreateAsynchronousHttpClientWithSocksProxy(" +
                    "ILumUtilsLoggerDelegateCli logger, ISocksHttpClientCli socksHttpClientCli)",
                    "static IntPtr CreateAsynchronousHttpClientWithSocksProxy(" +
                    "NativeLoggerPointer logger, ISocksHttpClientCli socksHttpClientCli)",
                },
                SignaturesOf(type));
            Check.True(new SocksHttpClientFactory() != null, "it can be constructed");
        }

        [Test]
        public void TheNativeLoggerIsAValueThatCarriesAnAddress()
        {
            Type type = typeof(NativeLoggerPointer);
            Check.True(type.IsValueType, "it is a value");
            Check.Equal(IntPtr.Size, Marshal.SizeOf(type), "size");
            Check.Equal((IntPtr)42, new NativeLoggerPointer((IntPtr)42).Address);
            Check.Equal(IntPtr.Zero, default(NativeLoggerPointer).Address);
        }

        [Test]
        public void TheAssemblyHasItsStrongName()
        {
            byte[] token = Contract.GetName().GetPublicKeyToken()!;
            Check.Equal("4747e7c9fd01994d", string.Concat(token.Select(part => part.ToString("x2"))));
        }

        [Test]
        public void TheAssemblyIsForEveryFramework()
        {
            string framework = Contract.GetCustomAttribute<TargetFrameworkAttribute>()!.FrameworkName;
            string[] needed = Contract.GetReferencedAssemblies().Select(name => name.Name!).ToArray();
            if (framework == ".NETStandard,Version=v2.0")
            {
                Check.SequenceEqual(new[] { "netstandard" }, needed);
                return;
            }
            Check.Equal(".NETCoreApp,Version=v8.0", framework);
            Check.True(needed.All(name => name.StartsWith("System.", StringComparison.Ordinal)), string.Join(", ", needed));
        }

        /// <summary>The operations in the order in which they are declared.</summary>
        private static IEnumerable<string> SignaturesOf(Type type)
        {
            return type.GetMethods(Declared).OrderBy(method => method.MetadataToken).Select(SignatureOf);
        }

        private static string SignatureOf(MethodInfo method)
        {
            IEnumerable<string> parameters = method.GetParameters()
                .Select(parameter => $"{NameOf(parameter.ParameterType)} {parameter.Name}");
            return $"{(method.IsStatic ? "static " : "")}{NameOf(method.ReturnType)} {method.Name}(" +
                   $"{string.Join(", ", parameters)})";
        }

        private static string NameOf(Type type)
        {
            if (!type.IsGenericType)
            {
                return type.Name;
            }
            return type.Name.Substring(0, type.Name.IndexOf('`')) + "<" +
                   string.Join(",", type.GetGenericArguments().Select(NameOf)) + ">";
        }
    }
}
