#pragma once

#include "platform/LumPlatform.h"

#include <memory>
#include <type_traits>

namespace LumNetworking {

struct WinHttpHandleCloser {
    void operator()(HINTERNET handle) const { WinHttpCloseHandle(handle); }
};

/// An owned WinHTTP handle. Closing it does not wait: notifications may come until the handle-closing one.
using WinHttpHandle = std::unique_ptr<std::remove_pointer_t<HINTERNET>, WinHttpHandleCloser>;

} // namespace LumNetworking
