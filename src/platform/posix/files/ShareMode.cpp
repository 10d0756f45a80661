#include "platform/posix/files/ShareMode.h"

#include "platform/posix/files/RecordLock.h"

#include <cerrno>

namespace LumPlatform::ShareMode {

namespace {

constexpr unsigned int kMarkCount = 6;
constexpr unsigned int kUsesRead = 1U << 0U;
constexpr unsigned int kDeniesDelete = 1U << 1U;
constexpr unsigned int kUsesWrite = 1U << 2U;
constexpr unsigned int kDeniesWrite = 1U << 3U;
constexpr unsigned int kUsesDelete = 1U << 4U;
constexpr unsigned int kDeniesRead = 1U << 5U;

unsigned int usesOf(FileUse use)
{
    return (use.reads ? kUsesRead : 0U) | (use.writes ? kUsesWrite : 0U) | (use.deletes ? kUsesDelete : 0U);
}

unsigned int denialsOf(FileUse use)
{
    return (use.reads ? kDeniesRead : 0U) | (use.writes ? kDeniesWrite : 0U) | (use.deletes ? kDeniesDelete : 0U);
}

/// What others must not have marked: their denial of each use, and their use of what is denied.
unsigned int opposing(FileUse uses, FileUse denied)
{
    return denialsOf(uses) | usesOf(denied);
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
            result = call(kFirstMark + first, static_cast<long long>(end - first));
        }
        first = end + 1;
    }
    return result;
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

/// EBUSY if another has locked one of the bytes. Who goes on without marks heeds only locks that are marks.
int look(int descriptor, unsigned int marks, Without without)
{
    return forEachRun(marks, [&](long long start, long long length) {
        long long holderStart = 0;
        const int found = RecordLock::FindElsewhere(descriptor, start, length, holderStart);
        if (without == Without::GoesOn) {
            return found == 1 && holderStart >= kFirstMark ? EBUSY : 0;
        }
        return found < 0 ? errno : (found == 0 ? 0 : EBUSY);
    });
}

int placeAndLook(int descriptor, FileUse uses, FileUse denied, Without without)
{
    int error = place(descriptor, usesOf(uses) | denialsOf(denied));
    if (error == 0 || without == Without::GoesOn) {
        error = look(descriptor, opposing(uses, denied), without);
    }
    if (error != 0) {
        RecordLock::Release(descriptor, kFirstMark, kMarkCount);
    }
    return error;
}

} // namespace

int Enter(int descriptor, FileUse uses, FileUse shared, Without without)
{
    const FileUse denied = {!shared.reads, !shared.writes, !shared.deletes};
    if (denied.reads || denied.writes) {
        const ShareGate gate(descriptor, ShareGate::Kind::Alone);
        return placeAndLook(descriptor, uses, denied, without);
    }
    const int error = placeAndLook(descriptor, uses, denied, without);
    if (error != EBUSY) {
        return error;
    }
    const ShareGate gate(descriptor, ShareGate::Kind::Together);
    return placeAndLook(descriptor, uses, denied, without);
}

Deletion::Deletion(int fileDescriptor)
    : descriptor(fileDescriptor), gate(fileDescriptor, ShareGate::Kind::Alone),
      isAllowed(placeAndLook(fileDescriptor, {false, false, true}, {false, false, true}, Without::GoesOn) == 0)
{
}

Deletion::~Deletion()
{
    RecordLock::Release(descriptor, kFirstMark, kMarkCount);
}

} // namespace LumPlatform::ShareMode
