#pragma once

#include "platform/posix/winhttp/HttpHandle.h"

namespace LumPlatform {

/// The open handles of the process. A value that was closed, or never given out, names nothing.
class HttpHandleTable {
public:
    static HttpHandleTable& Instance();

    HINTERNET Add(std::shared_ptr<HttpHandle> object);
    std::shared_ptr<HttpHandle> Find(HINTERNET value);
    std::shared_ptr<HttpHandle> Remove(HINTERNET value);

private:
    struct Slot {
        std::shared_ptr<HttpHandle> object;
        std::uintptr_t generation = 0;
    };

    Slot* SlotOf(HINTERNET value);

    std::mutex mutex;
    std::vector<Slot> slots;
    std::vector<std::size_t> freeSlots;
};

} // namespace LumPlatform
