#pragma once

namespace LumPlatform {

/// Open-file-description locks on a range of bytes. Unlike the classic ones they belong to the descriptor and its
/// copies, not to the process: another close of the same file does not drop them. Results as those of fcntl.
namespace RecordLock {

int TryShared(int descriptor, long long start, long long length);

/// Waits for as long as another holds a lock on the range.
int WaitExclusive(int descriptor, long long start, long long length);

int Release(int descriptor, long long start, long long length);

/// 1 if another descriptor holds a lock of any kind on the range, 0 if none does, -1 with errno. For 1, `holderStart`
/// is where the lock that was found begins.
int FindElsewhere(int descriptor, long long start, long long length, long long& holderStart);

} // namespace RecordLock

} // namespace LumPlatform
