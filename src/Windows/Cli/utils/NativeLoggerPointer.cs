using System;

namespace LumUtilsCli
{
    /// <summary>
    /// The address of a native <c>std::shared_ptr&lt;LumUtils::ILumUtilsLoggerDelegate&gt;</c>, for hosts whose native
    /// part builds the logger.
    /// </summary>
    /// <remarks>
    /// It owns nothing: the shared pointer at the address must live until the call that takes this value has returned,
    /// and is copied there.
    /// </remarks>
    public readonly struct NativeLoggerPointer
    {
        /// <summary>Carries the address of a native shared pointer; zero stands for an empty one.</summary>
        /// <param name="address">The address of the shared pointer itself, not of the logger.</param>
        public NativeLoggerPointer(IntPtr address)
        {
            Address = address;
        }

        /// <summary>The address of the shared pointer.</summary>
        public IntPtr Address { get; }
    }
}
