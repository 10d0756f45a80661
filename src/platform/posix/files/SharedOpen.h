#pragma once

#include "platform/posix/files/ShareMode.h"

#include <string>

#include <sys/stat.h>

namespace LumPlatform {

/// Opens of files that take part in share modes. The calls leave errno if they fail.

/// How a file is opened.
struct SharedOpen {
    /// As for the system's open. What does not wait there waits for nothing but a lease of another process, which is
    /// given up, or taken by the system, soon.
    int flags = 0;
    bool makes = false;
    FileUse uses;
    FileUse shared;

    /// Where there can be no marks. Who goes on opens devices and FIFOs too, which have none.
    ShareMode::Without without = ShareMode::Without::Fails;
};

/// The descriptor, or -1. EBUSY: another open excludes this one; EISDIR: it is a directory; ENOTSUP: it is no regular
/// file that has an end. When the open is through, the path still names the file that it holds; `status` is that
/// file's.
int OpenShared(const std::string& path, const SharedOpen& how, struct stat& status);

/// Gives up locks and share mode at once, although a forked child may still have a copy of the descriptor, and closes
/// it. As close.
int CloseShared(int descriptor);

/// Whether the end can be gone to, from wherever the position is. Files that make up their content as they are read are
/// empty by their size, and have no end.
bool HasEnd(int descriptor, const struct stat& status);

/// Whether both are of one file.
bool IsSameFile(const struct stat& one, const struct stat& other);

} // namespace LumPlatform
