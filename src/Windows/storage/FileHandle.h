#pragma once

#include "platform/LumPlatform.h"

#include <memory>
#include <type_traits>

namespace LumStorage {

struct FileHandleCloser {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};

/// An owned file handle; empty if there is none. The platform's mark of a failed open is not the empty handle: take
/// what CreateFileW returns through ownedFile.
using FileHandle = std::unique_ptr<std::remove_pointer_t<HANDLE>, FileHandleCloser>;

inline FileHandle ownedFile(HANDLE handle)
{
    return FileHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

} // namespace LumStorage
