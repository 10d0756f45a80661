using System;
using System.IO;
using System.Runtime.InteropServices;

namespace LumNetworkingCli
{
    /// <summary>What a native library is built for: the width of its addresses, its processor and its system.</summary>
    internal readonly struct BinaryKind : IEquatable<BinaryKind>
    {
        private const ushort PeMachineOffsetInHeader = 4;

        private readonly string text;

        private BinaryKind(string text)
        {
            this.text = text;
        }

        internal static BinaryKind OfProcess()
        {
            string system = RuntimeInformation.IsOSPlatform(OSPlatform.Windows) ? "Windows" : "Linux";
            return Of(RuntimeInformation.ProcessArchitecture, system);
        }

        internal static BinaryKind OfFile(string path)
        {
            try
            {
                using (var reader = new BinaryReader(File.Open(path, FileMode.Open, FileAccess.Read, FileShare.Read)))
                {
                    return Read(reader);
                }
            }
            catch (IOException)
            {
                return NotReadable;
            }
            catch (UnauthorizedAccessException)
            {
                return NotReadable;
            }
        }

        private static BinaryKind NotReadable => new BinaryKind("no readable library");

        private static BinaryKind Read(BinaryReader reader)
        {
            byte[] magic = reader.ReadBytes(4);
            if (magic.Length == 4 && magic[0] == 0x7F && magic[1] == 'E' && magic[2] == 'L' && magic[3] == 'F')
            {
                reader.BaseStream.Position = 18;
                return OfElfMachine(reader.ReadUInt16());
            }
            if (magic.Length == 4 && magic[0] == 'M' && magic[1] == 'Z')
            {
                reader.BaseStream.Position = 0x3C;
                reader.BaseStream.Position = reader.ReadUInt32() + PeMachineOffsetInHeader;
                return OfPeMachine(reader.ReadUInt16());
            }
            return NotReadable;
        }

        private static BinaryKind OfElfMachine(ushort machine)
        {
            switch (machine)
            {
                case 3:
                    return Of(Architecture.X86, "Linux");
                case 62:
                    return Of(Architecture.X64, "Linux");
                case 40:
                    return Of(Architecture.Arm, "Linux");
                case 183:
                    return Of(Architecture.Arm64, "Linux");
                default:
                    return new BinaryKind($"for Linux on processor {machine}");
            }
        }

        private static BinaryKind OfPeMachine(ushort machine)
        {
            switch (machine)
            {
                case 0x14C:
                    return Of(Architecture.X86, "Windows");
                case 0x8664:
                    return Of(Architecture.X64, "Windows");
                case 0xAA64:
                    return Of(Architecture.Arm64, "Windows");
                default:
                    return new BinaryKind($"for Windows on processor {machine:X}");
            }
        }

        private static BinaryKind Of(Architecture architecture, string system)
        {
            bool isWide = architecture == Architecture.X64 || architecture == Architecture.Arm64;
            return new BinaryKind($"{(isWide ? 64 : 32)}-bit {system} {architecture.ToString().ToLowerInvariant()}");
        }

        public bool Equals(BinaryKind other)
        {
            return text == other.text;
        }

        public override bool Equals(object? other)
        {
            return other is BinaryKind kind && Equals(kind);
        }

        public override int GetHashCode()
        {
            return text.GetHashCode();
        }

        public override string ToString()
        {
            return text;
        }
    }
}
