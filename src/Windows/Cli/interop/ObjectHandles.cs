using System;
using System.Runtime.InteropServices;
using System.Threading;

namespace LumNetworkingCli
{
    /// <summary>
    /// The handles through which native code holds managed objects: strong, not pinned, as numbers. Zero stands for
    /// null.
    /// </summary>
    internal static class ObjectHandles
    {
        private static long allocatedCount;
        private static long releasedCount;

        /// <summary>For an exception that no handle can be made for. It is never released.</summary>
        internal static readonly IntPtr OutOfMemory =
            GCHandle.ToIntPtr(GCHandle.Alloc(new OutOfMemoryException(), GCHandleType.Normal));

        /// <summary>How many handles were made so far.</summary>
        internal static long AllocatedCount => Interlocked.Read(ref allocatedCount);

        /// <summary>How many of them have been released.</summary>
        internal static long ReleasedCount => Interlocked.Read(ref releasedCount);

        internal static IntPtr Allocate(object? target)
        {
            if (target == null)
            {
                return IntPtr.Zero;
            }
            IntPtr handle = GCHandle.ToIntPtr(GCHandle.Alloc(target, GCHandleType.Normal));
            Interlocked.Increment(ref allocatedCount);
            return handle;
        }

        internal static void Release(IntPtr handle)
        {
            if (handle == IntPtr.Zero || handle == OutOfMemory)
            {
                return;
            }
            GCHandle.FromIntPtr(handle).Free();
            Interlocked.Increment(ref releasedCount);
        }

        internal static object? Target(IntPtr handle)
        {
            return handle == IntPtr.Zero ? null : GCHandle.FromIntPtr(handle).Target;
        }

        /// <summary>To be called where an exception was caught that must not reach native code.</summary>
        internal static IntPtr ForCaught(Exception exception)
        {
            try
            {
                if (exception is ThreadAbortException)
                {
                    // It would be raised again at the end of the handler, and leave through the native frames.
                    Thread.ResetAbort();
                }
                return Allocate(exception);
            }
            catch (OutOfMemoryException)
            {
                return OutOfMemory;
            }
        }
    }
}
