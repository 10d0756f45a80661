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

        /// <summary>As native code releases one: nothing that goes wrong may leave through its frames.</summary>
        internal static void ReleaseForNative(IntPtr handle)
        {
            try
            {
                Release(handle);
            }
            catch (Exception)
            {
                EndAbort();
            }
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
                EndAbort();
                return Allocate(exception);
            }
            catch (OutOfMemoryException)
            {
                return OutOfMemory;
            }
        }

        /// <summary>
        /// To be called in a handler: an abort of the thread would be raised at its end, and leave through native frames.
        /// </summary>
        internal static void EndAbort()
        {
            if ((Thread.CurrentThread.ThreadState & ThreadState.AbortRequested) == 0)
            {
                return;
            }
            try
            {
#pragma warning disable SYSLIB0006 // a runtime that aborts threads can also end that
                Thread.ResetAbort();
#pragma warning restore SYSLIB0006
            }
            catch (ThreadStateException)
            {
                // It has ended meanwhile.
            }
        }
    }
}
