#pragma once

#include "platform/posix/files/ShareGate.h"

namespace LumPlatform {

/// What is done with a file, or what others are let do with it. To delete is to take its name away, by renaming too.
struct FileUse {
    bool reads = false;
    bool writes = false;
    bool deletes = false;
};

/// Share modes between all opens of a file on this machine, those of this process included. An open tells what it does
/// and what it lets others do; it is refused if another open does what it does not let, or does not let what it does.
///
/// Each open keeps marks on the file: shared open-file-description locks on single bytes beyond all data. They belong
/// to the descriptor, so they are gone when its last copy is closed, by a crash too.
///
///     byte        | kFirstMark | + 1            | + 2         | + 3           | + 4          | + 5
///     a mark here | uses: read | denies: delete | uses: write | denies: write | uses: delete | denies: read
///
/// In this order the marks of an open that reads or writes are neighbours, and so are those that it looks for.
///
/// An open places its marks and then looks for marks of others on the opposing bytes. So of two that exclude each other
/// at least one sees the other. That it is only one is what the gate (ShareGate) around placing and looking is for: who
/// denies reading or writing, or deletes, passes it alone. The others need it only when they have seen an opposing
/// mark, which may be that of an open that is itself being refused. Without a gate both may be refused.
namespace ShareMode {

/// Data locks cover the bytes from 0 to here; nothing that is locked beyond is data.
constexpr long long kDataEnd = 1LL << 62;

/// One byte is left between, so that locks on data and marks stay apart: neighbours of one kind become one lock.
constexpr long long kFirstMark = kDataEnd + 1;

/// Everything that this layer ever locks in a file.
constexpr long long kWholeRange = kFirstMark + 6;

/// What an open does where marks cannot be placed: on file systems without locks, or below a record lock of a program
/// that knows nothing of them.
enum class Without { Fails, GoesOn };

/// Places the marks of an open on its descriptor, which must be readable or go on without. 0, or an error number and no
/// marks: EBUSY if the share modes of another open exclude this one; else the system's word on why there are no locks.
int Enter(int descriptor, FileUse uses, FileUse shared, Without without);

/// Whether nobody has a file open; as long as the object lives, nobody can open it. Opens wait for its end at the gate,
/// then they are refused. What cannot have marks counts as open to nobody.
class Deletion {
public:
    explicit Deletion(int fileDescriptor);
    ~Deletion();
    Deletion(const Deletion&) = delete;
    Deletion& operator=(const Deletion&) = delete;

    bool IsAllowed() const { return isAllowed; }

private:
    const int descriptor;
    const ShareGate gate;
    const bool isAllowed;
};

} // namespace ShareMode

} // namespace LumPlatform
