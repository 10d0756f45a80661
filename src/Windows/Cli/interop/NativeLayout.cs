using System;

namespace LumNetworkingCli
{
    // The structures and codes of LumCliAbi.h, member by member. They change together.

    internal static class Abi
    {
        internal const uint Version = 2;
    }

    /// <summary>LumCliText: UTF-16, not terminated; null if the address is null.</summary>
    internal unsafe struct NativeText
    {
        internal char* Address;
        internal int Length;

        internal string? ToManaged()
        {
            return Address == null ? null : new string(Address, 0, Length);
        }
    }

    /// <summary>LumCliHeader.</summary>
    internal struct NativeHeader
    {
        internal NativeText Name;
        internal NativeText Value;
    }

    /// <summary>LumCliRequest.</summary>
    internal unsafe struct NativeRequest
    {
        internal NativeText Method;
        internal NativeText Url;
        internal NativeText Payload;
        internal NativeHeader* Headers;
        internal int HeaderCount;
    }

    /// <summary>LumCliLogRecord.</summary>
    internal struct NativeLogRecord
    {
        internal int Level;
        internal uint Line;
        internal NativeText File;
        internal NativeText Function;
        internal NativeText Message;
    }

    /// <summary>LumCliHostTable.</summary>
    internal struct NativeHostTable
    {
        internal uint Size;
        internal uint Version;
        internal IntPtr DuplicateHandle;
        internal IntPtr ReleaseHandle;
        internal IntPtr SendAndGetResponse;
        internal IntPtr SetSocksParameters;
        internal IntPtr Log;
        internal IntPtr CreateException;
        internal IntPtr GetExceptionMessage;
        internal IntPtr Gate;
    }

    /// <summary>LumCliExceptionKind.</summary>
    internal enum ExceptionKind
    {
        ArgumentNull = 1,
        ArgumentOutOfRange = 2,
        Argument = 3,
        InsufficientMemory = 4,
        OutOfMemory = 5,
        External = 6,
    }

    /// <summary>LumCliStatus.</summary>
    internal enum NativeStatus
    {
        Ok = 0,
        Exception = 1,
        NoMemory = 2,
        OtherVersion = 3,
    }
}
