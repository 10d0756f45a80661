#pragma once

#include "LoadClient.h"

#include <string>
#include <type_traits>

#include <windows.h>

#include <winhttp.h>

namespace LumBench {

/// A plain asynchronous loop of WinHTTP calls, with the options and flags that the library uses: what can be had here
/// at most.
class WinHttpLoopClient : public LoadClient {
public:
    enum class Sessions {
        /// One session and one connection handle carry all requests.
        One,
        /// Each request opens both for itself, as the library's do.
        OnePerRequest,
    };

    /// `baseUrl` is "http://127.0.0.1:PORT". Throws std::runtime_error if there is no session.
    WinHttpLoopClient(Sessions newSessions, const std::string& baseUrl);

    void Run(const Load& load, LoadTally& tally) override;

    struct HandleCloser {
        void operator()(HINTERNET handle) const { WinHttpCloseHandle(handle); }
    };
    using Handle = std::unique_ptr<std::remove_pointer_t<HINTERNET>, HandleCloser>;

private:
    const Sessions sessions;
    const INTERNET_PORT port;
    Handle session;
    Handle connection;
};

} // namespace LumBench
