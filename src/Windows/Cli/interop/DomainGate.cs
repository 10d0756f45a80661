using System;
using System.Collections.Generic;
using System.Threading;

namespace LumNetworkingCli
{
    /// <summary>
    /// Keeps native code out of an application domain that is unloaded, and gets those out that are inside. A domain that
    /// ends with the process, as all do on .NET, has no gate.
    /// </summary>
    /// <remarks>
    /// A call of the host that does not return by itself is aborted, once, while the thread is within the host's part or on
    /// its way out of it: there the abort is caught and ended. Left to the runtime it would be raised beyond the native
    /// frames.
    /// </remarks>
    internal static class DomainGate
    {
        private const int PatienceMilliseconds = 500;
        private const int AbortMilliseconds = 10_000;

        private static readonly HashSet<Thread> Inside = new HashSet<Thread>();
        private static IntPtr gate;

        /// <summary>The gate of this domain, or zero. To be called once.</summary>
        internal static IntPtr OfThisDomain()
        {
            if (AppDomain.CurrentDomain.IsDefaultAppDomain())
            {
                return IntPtr.Zero;
            }
            gate = NativeMethods.LumCliCreateGate();
            if (gate == IntPtr.Zero)
            {
                throw new OutOfMemoryException();
            }
            AppDomain.CurrentDomain.DomainUnload += (sender, arguments) => Close();
            return gate;
        }

        /// <summary>Before a call of the host that may take long.</summary>
        internal static void Enter()
        {
            if (gate != IntPtr.Zero)
            {
                lock (Inside)
                {
                    Inside.Add(Thread.CurrentThread);
                }
            }
        }

        /// <summary>When it has returned. An abort that was asked for meanwhile is waited for: it must come here.</summary>
        internal static void Leave()
        {
            if (gate != IntPtr.Zero && !Remove())
            {
                Thread.Sleep(AbortMilliseconds);
            }
        }

        /// <summary>When it has thrown. An abort that was asked for meanwhile must not come when this is handled.</summary>
        internal static void LeaveByException()
        {
            if (gate != IntPtr.Zero && !Remove())
            {
                ObjectHandles.EndAbort();
            }
        }

        private static bool Remove()
        {
            lock (Inside)
            {
                return Inside.Remove(Thread.CurrentThread);
            }
        }

        private static void Close()
        {
            if (NativeMethods.LumCliCloseGate(gate, PatienceMilliseconds) > 0)
            {
                AbortCalls();
                NativeMethods.LumCliCloseGate(gate, AbortMilliseconds);
            }
        }

        private static void AbortCalls()
        {
            lock (Inside)
            {
                foreach (Thread thread in Inside)
                {
#pragma warning disable SYSLIB0006 // a runtime that unloads domains can also abort threads
                    thread.Abort();
#pragma warning restore SYSLIB0006
                }
                Inside.Clear();
            }
        }
    }
}
