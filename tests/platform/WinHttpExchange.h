#pragma once

#include "common/utils/LumTextUtils.h"
#include "platform/LumPlatform.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace LumTests {

/// One notification as the callback saw it.
struct SeenNotification {
    HINTERNET handle = nullptr;
    DWORD_PTR context = 0;
    DWORD status = 0;
    /// DATA_AVAILABLE: the count. READ_COMPLETE: the length. REQUEST_ERROR: the error number.
    DWORD value = 0;
    /// REQUEST_ERROR: the call that failed.
    DWORD_PTR call = 0;
    DWORD lastError = 0;
    std::thread::id thread;
};

/// One request made by platform calls alone, with every notification recorded. It receives the response and reads the
/// body by itself unless a test takes a step over.
class WinHttpExchange {
public:
    struct Settings {
        std::string verb = "GET";
        std::string host = "127.0.0.1";
        INTERNET_PORT port = 0;
        std::string objectName = "/";
        std::string headers;
        std::string body;
        DWORD redirectPolicy = WINHTTP_OPTION_REDIRECT_POLICY_ALWAYS;
        DWORD connectTimeout = 10000;
        bool isSecure = false;
        /// At most so much is read at a time; 0: all that is available.
        DWORD readSize = 0;
        bool receives = true;
    };

    /// Opens the handles; `IsOpen` tells whether all could be opened.
    explicit WinHttpExchange(Settings newSettings);

    /// Closes what is open and waits for the handle-closing notifications.
    ~WinHttpExchange();

    WinHttpExchange(const WinHttpExchange&) = delete;
    WinHttpExchange& operator=(const WinHttpExchange&) = delete;

    bool IsOpen() const { return request != nullptr; }

    /// Sends the request; false with the last error set if that fails at once.
    bool Send();

    /// Sends and waits until the body has been read or the request has failed. False if it takes too long.
    bool Run();

    /// Closes request, connection and session.
    void Close();

    bool WaitForEnd();
    bool HasEnded() const;
    bool WaitFor(DWORD status, HINTERNET handle = nullptr);
    /// Waits until no callback is running.
    bool WaitForQuiet();
    bool WaitUntil(const std::function<bool(const std::vector<SeenNotification>&)>& condition);

    std::vector<SeenNotification> Seen() const;
    /// The statuses of the request's own notifications, without handle-created, each written once for a run of
    /// DATA_AVAILABLE and READ_COMPLETE.
    std::vector<DWORD> Steps() const;
    /// The failure, or one with status 0 if there was none.
    SeenNotification Failure() const;

    DWORD Status() const { return httpStatus; }
    std::string RawHeaders() const { return rawHeaders; }
    std::string Body() const { return body; }

    HINTERNET Session() const { return session; }
    HINTERNET Connection() const { return connection; }
    HINTERNET Request() const { return request; }

    /// Runs inside the callback, before the step that the exchange takes itself.
    std::function<void(const SeenNotification&)> onNotification;

private:
    static void CALLBACK OnStatus(HINTERNET handle, DWORD_PTR context, DWORD status, LPVOID information, DWORD length);

    void Record(const SeenNotification& notification);
    void TakeStep(const SeenNotification& notification);
    void ReadHeaders(HINTERNET handle);

    Settings settings;
    HINTERNET session = nullptr;
    HINTERNET connection = nullptr;
    HINTERNET request = nullptr;
    HINTERNET closingRequest = nullptr;
    HINTERNET closingSession = nullptr;

    mutable std::mutex mutex;
    std::condition_variable changed;
    std::vector<SeenNotification> seen;
    int runningCallbacks = 0;
    bool hasEnded = false;
    DWORD httpStatus = 0;
    std::string rawHeaders;
    std::vector<char> readBuffer;
    std::string body;
};

/// A GET of the scripted server.
WinHttpExchange::Settings toScripted(const std::string& objectName);

/// The raw header block of a response that has arrived, asked for as the library does; UTF-8.
std::string queryRawHeaders(HINTERNET request);

} // namespace LumTests
