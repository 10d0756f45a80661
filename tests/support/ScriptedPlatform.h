#pragma once

#include "platform/LumPlatform.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace LumTests {

/// A platform that does what a test says, in memory and on the test's thread. Linked in place of the real one, it
/// answers every platform call of the library while it lives; there is one at a time.
///
///     ScriptedPlatform platform;
///     platform.failCall("WinHttpConnect", 1, ERROR_WINHTTP_SHUTDOWN);
///
/// Every call is kept as text with its arguments: "WinHttpReceiveResponse(request, reserved=null)". The platform has
/// memory where a test leaves the library none.
class ScriptedPlatform {
public:
    ScriptedPlatform();
    ~ScriptedPlatform();
    ScriptedPlatform(const ScriptedPlatform&) = delete;
    ScriptedPlatform& operator=(const ScriptedPlatform&) = delete;

    /// Makes the n-th call (from 1) of that name fail and leave that last error.
    void failCall(const std::string& name, int number, DWORD code);

    /// The calls whose names begin so, in order.
    std::vector<std::string> calls(const std::string& prefix = "WinHttp") const;
    int countOf(const std::string& name) const;

    /// Handles that are open now, and buffers and modules that were handed out and not given back.
    std::size_t openHandles() const { return handles.size(); }
    int heldBuffers() const { return buffers; }
    int heldModules() const { return modules; }

    /// What no caller may do, such as closing a handle twice; empty at the end of every test.
    const std::vector<std::string>& misuses() const { return misuse; }

    // The scripted response.

    DWORD status = 200;
    std::u16string headerBlock = u"HTTP/1.1 200 OK\r\n\r\n";
    std::deque<std::string> chunks;

    /// Texts by number; any other number reads "text of N". A number in `numbersWithoutText` has none.
    std::map<DWORD, std::string> texts;
    std::vector<DWORD> numbersWithoutText;

    /// The time, in seconds since 1970, and whether a debugger is attached.
    std::int64_t now = 0;
    bool hasDebugger = false;

    /// Deliver each notification inside the call that it answers, as a platform may.
    bool deliversInsideCalls = false;

    /// Deliver the handle-closing notification inside WinHttpCloseHandle.
    bool deliversHandleClosing = true;

    /// Runs at the end of the WinHttpCloseHandle that closes a request.
    std::function<void()> afterRequestCloses = [] {};

    // The scripted file system: one file, whatever its name.

    std::string fileContent;

    /// Reads and writes that succeed move so many bytes less than they could.
    DWORD missingBytes = 0;

    /// What Stat finds. MakeDirectory adds to it.
    std::set<std::string> existing;

    std::string temporaryFolder = "C:\\Temp\\";

    /// What GetTempPathA returns instead of its length.
    std::optional<DWORD> temporaryFolderResult;
    std::map<std::string, std::string> environment;

    // Notifications, delivered on the calling thread. The context is that of the last request that was sent.

    void deliverSendComplete();
    void deliverHeadersAvailable();

    /// The size of the next chunk, or 0 after the last.
    void deliverDataAvailable();
    void deliverDataAvailable(DWORD count);

    /// Fills the buffer of the last WinHttpReadData with the next chunk.
    void deliverReadComplete();
    void deliverRequestError(DWORD code);

    /// Any notification with any context.
    void notify(DWORD_PTR context, DWORD notification, void* information, DWORD length);
    void notify(DWORD notification) { notify(context(), notification, nullptr, 0); }

    /// Answers everything from the end of sending to the end of the body.
    void deliverWholeResponse();

    DWORD_PTR context() const { return sentContext; }
    HINTERNET lastRequest() const { return request; }
    const void* lastBody() const { return sentBody; }
    DWORD lastNotificationMask() const { return notificationMask; }

    // The calls themselves, for the functions of the platform.

    /// Keeps the call; false, with the last error set, if it is to fail.
    bool enter(const std::string& name, const std::string& arguments);
    /// As enter, for calls that leave their failure in errno.
    bool enterRuntime(const std::string& name, const std::string& arguments);
    HINTERNET open(const std::string& kind);
    std::string nameOf(HINTERNET handle);
    BOOL close(HINTERNET handle);
    void setCallback(WINHTTP_STATUS_CALLBACK newCallback, DWORD mask);
    BOOL send(HINTERNET handle, const void* body, DWORD_PTR newContext);
    BOOL queryRawHeaders(void* buffer, DWORD& size) const;
    BOOL read(void* buffer, DWORD size);
    DWORD formatMessage(DWORD code, char** buffer);
    HLOCAL freeBuffer(HLOCAL memory);
    HMODULE loadModule();
    BOOL freeModule(HMODULE module);

private:
    struct Failure {
        int number;
        DWORD code;
    };

    std::vector<std::string> texted;
    std::map<std::string, int> counts;
    std::multimap<std::string, Failure> failures;
    std::map<HINTERNET, std::string> handles;
    std::vector<std::string> misuse;
    std::size_t nextHandle = 0;
    int buffers = 0;
    int modules = 0;
    int moduleAddress = 0;

    WINHTTP_STATUS_CALLBACK callback = nullptr;
    DWORD notificationMask = 0;
    HINTERNET request = nullptr;
    DWORD_PTR sentContext = 0;
    const void* sentBody = nullptr;
    void* readBuffer = nullptr;
    DWORD readSize = 0;
};

/// The one that lives now.
ScriptedPlatform& platform();

} // namespace LumTests
