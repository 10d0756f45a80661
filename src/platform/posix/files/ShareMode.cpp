#include "platform/posix/files/ShareMode.h"

#include "platform/posix/files/RecordLock.h"

#include <cerrno>
#include <chrono>
#include <thread>

#include <linux/magic.h>
#include <sys/file.h>
#include <sys/vfs.h>

namespace LumPlatform::ShareMode {

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned int kMarkCount = 4;
constexpr unsigned int kUsesRead = 1U << 0U;
constexpr unsigned int kUsesWrite = 1U << 1U;
constexpr unsigned int kDeniesWrite = 1U << 2U;
constexpr unsigned int kDeniesRead = 1U << 3U;

unsigned int marksOf(FileUse uses, FileUse shared)
{
    return (uses.reads ? kUsesRead : 0U) | (uses.writes ? kUsesWrite : 0U) | (shared.writes ? 0U : kDeniesWrite) |
           (shared.reads ? 0U : kDeniesRead);
}

/// What others must not have marked: their denial of each use, and their use of what is denied.
unsigned int opposing(unsigned int marks)
{
    return ((marks & kUsesRead) != 0 ? kDeniesRead : 0U) | ((marks & kUsesWrite) != 0 ? kDeniesWrite : 0U) |
           ((marks & kDeniesWrite) != 0 ? kUsesWrite : 0U) | ((marks & kDeniesRead) != 0 ? kUsesRead : 0U);
}

/// Calls with first byte and length for each run of marks, until a call's result is not 0; returns the last result.
template <typename Call>
int forEachRun(unsigned int marks, Call call)
{
    int result = 0;
    for (unsigned int first = 0; first < kMarkCount && result == 0;) {
        unsigned int end = first;
        while (end < kMarkCount && (marks & (1U << end)) != 0) {
            ++end;
        }
        if (end > first) {
            result = call(kDataEnd + first, static_cast<long long>(end - first));
        }
        first = end + 1;
    }
    return result;
}

/// The lock around placing and looking. Opens that deny nothing do not exclude each other and pass it together.
class Gate {
public:
    Gate(int fileDescriptor, bool isAlone) : descriptor(fileDescriptor), isHeld(Wait(isAlone ? LOCK_EX : LOCK_SH)) {}
    ~Gate()
    {
        if (isHeld) {
            flock(descriptor, LOCK_UN);
        }
    }
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;

private:
    bool Wait(int kind) const
    {
        constexpr int kSpins = 20;
        constexpr std::chrono::microseconds kPause(100);
        constexpr std::chrono::seconds kLongest(1);
        const Clock::time_point end = Clock::now() + kLongest;
        for (int tries = 0; flock(descriptor, kind | LOCK_NB) != 0; ++tries) {
            if (errno != EWOULDBLOCK || Clock::now() > end) {
                return false;
            }
            if (tries < kSpins) {
                std::this_thread::yield();
            } else {
                std::this_thread::sleep_for(kPause);
            }
        }
        return true;
    }

    const int descriptor;
    const bool isHeld;
};

bool isOnFileSystemWithGate(int descriptor)
{
    struct statfs system = {};
    return fstatfs(descriptor, &system) == 0 && HasGate(static_cast<unsigned long>(system.f_type));
}

/// Why the marks could not be placed: a program that knows nothing of them has locked the bytes, or there are no locks.
int refusal()
{
    return errno == EAGAIN || errno == EACCES ? EBUSY : errno;
}

int place(int descriptor, unsigned int marks)
{
    return forEachRun(marks, [&](long long start, long long length) {
        return RecordLock::TryShared(descriptor, start, length) == 0 ? 0 : refusal();
    });
}

int look(int descriptor, unsigned int marks)
{
    return forEachRun(opposing(marks), [&](long long start, long long length) {
        const int result = RecordLock::IsHeldElsewhere(descriptor, start, length);
        return result < 0 ? errno : (result == 0 ? 0 : EBUSY);
    });
}

int placeAndLook(int descriptor, unsigned int marks)
{
    int error = place(descriptor, marks);
    if (error == 0) {
        error = look(descriptor, marks);
    }
    if (error != 0) {
        RecordLock::Release(descriptor, kDataEnd, kMarkCount);
    }
    return error;
}

} // namespace

bool HasGate(unsigned long fileSystemType)
{
    constexpr unsigned long kCifs = 0xFF534D42;
    constexpr unsigned long kSmb2 = 0xFE534D42;
    switch (fileSystemType) {
    case NFS_SUPER_MAGIC:
    case SMB_SUPER_MAGIC:
    case kCifs:
    case kSmb2:
        // There flock is a record lock on the whole file, so it would meet the marks.
        return false;
    default:
        return true;
    }
}

int Enter(int descriptor, FileUse uses, FileUse shared)
{
    const unsigned int marks = marksOf(uses, shared);
    if (!isOnFileSystemWithGate(descriptor)) {
        return placeAndLook(descriptor, marks);
    }
    const bool deniesNothing = shared.reads && shared.writes;
    const Gate gate(descriptor, !deniesNothing);
    return placeAndLook(descriptor, marks);
}

} // namespace LumPlatform::ShareMode
