#pragma once

namespace LumPlatform {

/// What is done with a file, or what others are let do with it.
struct FileUse {
    bool reads = false;
    bool writes = false;
};

/// Share modes between all opens of a file on this machine, those of this process included. An open tells what it does
/// and what it lets others do; it is refused if another open does what it does not let, or does not let what it does.
///
/// Each open keeps marks on the file: shared open-file-description locks on single bytes beyond all data. They belong
/// to the descriptor, so they are gone when its last copy is closed, by a crash too.
///
///     byte        | kDataEnd   | + 1         | + 2           | + 3
///     a mark here | uses: read | uses: write | denies: write | denies: read
///
/// An open places its marks and then looks for marks of others on the opposing bytes. So of two that exclude each other
/// at least one sees the other. That it is only one is what the gate is for: a lock of another kind (flock) around
/// placing and looking, held for some microseconds. It is tried for a second at most: whoever holds it for longer, or a
/// network file system, which has no second kind of lock, leaves the opens without it, and then both may be refused.
namespace ShareMode {

/// Data locks cover the bytes from 0 to here; nothing that is locked beyond is data.
constexpr long long kDataEnd = 1LL << 62;

/// Everything that this layer ever locks in a file.
constexpr long long kWholeRange = kDataEnd + 4;

/// Places the marks of an open on its descriptor, which must be readable. 0, or an error number and no marks: EBUSY if
/// the share modes of another open exclude this one; else the system's word on why there are no locks here.
int Enter(int descriptor, FileUse uses, FileUse shared);

/// Whether a file system of this type (statfs) has flock as a kind of lock of its own.
bool HasGate(unsigned long fileSystemType);

} // namespace ShareMode

} // namespace LumPlatform
