#pragma once

namespace LumPlatform {

/// The lock around placing and looking for marks (ShareMode): flock on the file itself, which meets no record lock.
/// Several may pass it together, or one alone. It is tried for a quarter of a second alone and two seconds together:
/// whoever holds it for longer, or a network file system, which has no second kind of lock, leaves the opens without
/// it.
class ShareGate {
public:
    enum class Kind { Together, Alone };

    ShareGate(int fileDescriptor, Kind kind);
    ~ShareGate();
    ShareGate(const ShareGate&) = delete;
    ShareGate& operator=(const ShareGate&) = delete;

    /// Whether a file system of this type (statfs) has flock as a kind of lock of its own.
    static bool IsOn(unsigned long fileSystemType);

private:
    const int descriptor;
    const bool isHeld;
};

} // namespace LumPlatform
