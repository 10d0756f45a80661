#pragma once

#include "platform/posix/HandleTable.h"
#include "platform/posix/winhttp/HttpHandle.h"

namespace LumPlatform {

/// The open WinHTTP handles of the process. A value that was closed, or never given out, names nothing.
class HttpHandleTable {
public:
    static HttpHandleTable& Instance();

    HINTERNET Add(const std::shared_ptr<HttpHandle>& object);
    std::shared_ptr<HttpHandle> Find(HINTERNET value) { return table.Find(value); }
    std::shared_ptr<HttpHandle> Remove(HINTERNET value) { return table.Remove(value); }
    std::size_t Count() { return table.Count(); }

private:
    HandleTable<HttpHandle, HandleKind::Http> table;
};

} // namespace LumPlatform
