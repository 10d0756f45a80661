#include "support/ScriptedPlatform.h"

#include "support/CallText.h"
#include "support/WithMemory.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>
#include <utility>

namespace LumTests {

namespace {

ScriptedPlatform* current = nullptr;
thread_local DWORD lastError = 0;

} // namespace

ScriptedPlatform& platform()
{
    if (current == nullptr) {
        std::fputs("a platform call without a scripted platform\n", stderr);
        std::abort();
    }
    return *current;
}

namespace {

/// How many bytes a UTF-8 sequence with this first byte has, or 0.
int sequenceLength(unsigned char lead)
{
    if (lead < 0x80) {
        return 1;
    }
    return lead >= 0xF0 && lead < 0xF5 ? 4 : lead >= 0xE0 && lead < 0xF0 ? 3 : lead >= 0xC2 && lead < 0xE0 ? 2 : 0;
}

/// Enough of UTF-8 for the tests' texts; false for stray and missing bytes.
bool toUtf16(const std::string& text, std::u16string& out)
{
    for (std::size_t index = 0; index < text.size();) {
        const auto lead = static_cast<unsigned char>(text[index]);
        const int length = sequenceLength(lead);
        if (length == 0 || index + static_cast<std::size_t>(length) > text.size()) {
            return false;
        }
        char32_t codePoint = length == 1 ? lead : lead & (0x7FU >> static_cast<unsigned int>(length));
        for (int step = 1; step < length; ++step) {
            const auto next = static_cast<unsigned char>(text[index + static_cast<std::size_t>(step)]);
            if ((next & 0xC0U) != 0x80U) {
                return false;
            }
            codePoint = codePoint * 64 + (next & 0x3FU);
        }
        if (codePoint >= 0x10000) {
            out += static_cast<char16_t>(0xD7C0 + codePoint / 1024);
            out += static_cast<char16_t>(0xDC00 + codePoint % 1024);
        } else {
            out += static_cast<char16_t>(codePoint);
        }
        index += static_cast<std::size_t>(length);
    }
    return true;
}

bool isBetween(char32_t value, char32_t low, char32_t high)
{
    return value >= low && value <= high;
}

bool toUtf8(const std::u16string& text, std::string& out)
{
    const auto put = [&out](char32_t value) { out += static_cast<char>(static_cast<unsigned char>(value)); };
    for (std::size_t index = 0; index < text.size(); ++index) {
        char32_t codePoint = text[index];
        if (isBetween(codePoint, 0xD800, 0xDBFF) && index + 1 < text.size() &&
            isBetween(text[index + 1], 0xDC00, 0xDFFF)) {
            codePoint = (codePoint - 0xD7C0) * 1024 + (static_cast<char32_t>(text[++index]) - 0xDC00);
        } else if (isBetween(codePoint, 0xD800, 0xDFFF)) {
            return false;
        }
        if (codePoint < 0x80) {
            put(codePoint);
        } else if (codePoint < 0x800) {
            put(0xC0 + codePoint / 64);
            put(0x80 + codePoint % 64);
        } else if (codePoint < 0x10000) {
            put(0xE0 + codePoint / 4096);
            put(0x80 + codePoint / 64 % 64);
            put(0x80 + codePoint % 64);
        } else {
            put(0xF0 + codePoint / 262144);
            put(0x80 + codePoint / 4096 % 64);
            put(0x80 + codePoint / 64 % 64);
            put(0x80 + codePoint % 64);
        }
    }
    return true;
}

/// Copies what was converted, or only measures it for a size of 0.
template <typename Text>
int deliverText(bool isValid, const Text& text, typename Text::value_type* buffer, int size)
{
    if (!isValid) {
        lastError = ERROR_NO_UNICODE_TRANSLATION;
        return 0;
    }
    const int length = static_cast<int>(text.size());
    if (size > 0) {
        if (size < length) {
            lastError = ERROR_INSUFFICIENT_BUFFER;
            return 0;
        }
        std::copy(text.begin(), text.end(), buffer);
    }
    return length;
}

} // namespace

ScriptedPlatform::ScriptedPlatform()
{
    current = this;
    lastError = 0;
}

ScriptedPlatform::~ScriptedPlatform()
{
    current = nullptr;
}

void ScriptedPlatform::failCall(const std::string& name, int number, DWORD code)
{
    failures.insert({name, {number, code}});
}

std::vector<std::string> ScriptedPlatform::calls(const std::string& prefix) const
{
    std::vector<std::string> found;
    std::copy_if(texted.begin(), texted.end(), std::back_inserter(found),
                 [&prefix](const std::string& text) { return text.compare(0, prefix.size(), prefix) == 0; });
    return found;
}

int ScriptedPlatform::countOf(const std::string& name) const
{
    const auto found = counts.find(name);
    return found == counts.end() ? 0 : found->second;
}

bool ScriptedPlatform::enter(const std::string& name, const std::string& arguments)
{
    texted.push_back(name + "(" + arguments + ")");
    const int number = ++counts[name];
    const auto [first, last] = failures.equal_range(name);
    for (auto failure = first; failure != last; ++failure) {
        if (failure->second.number == number) {
            lastError = failure->second.code;
            return false;
        }
    }
    return true;
}

HINTERNET ScriptedPlatform::open(const std::string& kind)
{
    // Never reused, so that a call on a closed handle is noticed.
    const HINTERNET handle = reinterpret_cast<HINTERNET>(std::uintptr_t{0x1000} + ++nextHandle);
    handles[handle] = kind;
    if (kind == "request") {
        request = handle;
    }
    return handle;
}

std::string ScriptedPlatform::nameOf(HINTERNET handle)
{
    const auto found = handles.find(handle);
    if (found != handles.end()) {
        return found->second;
    }
    misuse.emplace_back("a call on a handle that is not open");
    return "closed";
}

bool ScriptedPlatform::enterRuntime(const std::string& name, const std::string& arguments)
{
    if (enter(name, arguments)) {
        return true;
    }
    errno = static_cast<int>(lastError);
    return false;
}

BOOL ScriptedPlatform::close(HINTERNET handle)
{
    const bool isRequest = handle == request;
    if (handles.erase(handle) == 0) {
        misuse.emplace_back("a handle that is not open was closed");
        return FALSE;
    }
    if (isRequest && sentContext != 0 && deliversHandleClosing) {
        notify(sentContext, WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING, &handle, sizeof(handle));
    }
    if (isRequest) {
        afterRequestCloses();
    }
    return TRUE;
}

void ScriptedPlatform::setCallback(WINHTTP_STATUS_CALLBACK newCallback, DWORD mask)
{
    callback = newCallback;
    notificationMask = mask;
}

BOOL ScriptedPlatform::send(HINTERNET handle, const void* body, DWORD_PTR newContext)
{
    request = handle;
    sentBody = body;
    sentContext = newContext;
    if (deliversInsideCalls) {
        deliverSendComplete();
    }
    return TRUE;
}

BOOL ScriptedPlatform::queryRawHeaders(void* buffer, DWORD& size) const
{
    const auto length = static_cast<DWORD>(headerBlock.size() * sizeof(WCHAR));
    const DWORD needed = length + static_cast<DWORD>(sizeof(WCHAR));
    if (buffer == nullptr || size < needed) {
        size = needed;
        lastError = ERROR_INSUFFICIENT_BUFFER;
        return FALSE;
    }
    std::memcpy(buffer, headerBlock.c_str(), needed);
    size = length;
    return TRUE;
}

BOOL ScriptedPlatform::read(void* buffer, DWORD size)
{
    readBuffer = buffer;
    readSize = size;
    if (deliversInsideCalls) {
        deliverReadComplete();
    }
    return TRUE;
}

void ScriptedPlatform::notify(DWORD_PTR context, DWORD notification, void* information, DWORD length)
{
    const WithoutThatMemory inLibrary;
    callback(request, context, notification, information, length);
}

void ScriptedPlatform::deliverSendComplete()
{
    notify(WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE);
}

void ScriptedPlatform::deliverHeadersAvailable()
{
    notify(WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE);
}

void ScriptedPlatform::deliverDataAvailable()
{
    deliverDataAvailable(chunks.empty() ? 0U : static_cast<DWORD>(chunks.front().size()));
}

void ScriptedPlatform::deliverDataAvailable(DWORD count)
{
    notify(sentContext, WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE, &count, sizeof(count));
}

void ScriptedPlatform::deliverReadComplete()
{
    const std::string chunk = chunks.front().substr(0, readSize);
    chunks.pop_front();
    std::memcpy(readBuffer, chunk.data(), chunk.size());
    notify(sentContext, WINHTTP_CALLBACK_STATUS_READ_COMPLETE, readBuffer, static_cast<DWORD>(chunk.size()));
}

void ScriptedPlatform::deliverRequestError(DWORD code)
{
    // The record names another number: the library reports the thread's last error.
    WINHTTP_ASYNC_RESULT result{API_SEND_REQUEST, ERROR_WINHTTP_INTERNAL_ERROR};
    lastError = code;
    notify(sentContext, WINHTTP_CALLBACK_STATUS_REQUEST_ERROR, &result, sizeof(result));
}

void ScriptedPlatform::deliverWholeResponse()
{
    deliverSendComplete();
    deliverHeadersAvailable();
    while (!chunks.empty()) {
        deliverDataAvailable();
        deliverReadComplete();
    }
    deliverDataAvailable();
}

DWORD ScriptedPlatform::formatMessage(DWORD code, char** buffer)
{
    const bool hasText =
        std::find(numbersWithoutText.begin(), numbersWithoutText.end(), code) == numbersWithoutText.end();
    if (!hasText) {
        lastError = 317;
        return 0;
    }
    const auto found = texts.find(code);
    const std::string text = found != texts.end() ? found->second : "text of " + std::to_string(code) + "\r\n";
    *buffer = static_cast<char*>(std::malloc(text.size() + 1));
    std::memcpy(*buffer, text.c_str(), text.size() + 1);
    ++buffers;
    return static_cast<DWORD>(text.size());
}

HLOCAL ScriptedPlatform::freeBuffer(HLOCAL memory)
{
    buffers -= memory == nullptr ? 0 : 1;
    std::free(memory);
    return nullptr;
}

HMODULE ScriptedPlatform::loadModule()
{
    ++modules;
    return &moduleAddress;
}

BOOL ScriptedPlatform::freeModule(HMODULE module)
{
    if (module != &moduleAddress) {
        return FALSE;
    }
    --modules;
    return TRUE;
}

} // namespace LumTests

// The functions of the platform.

using LumTests::platform;

DWORD GetLastError()
{
    return LumTests::lastError;
}

void SetLastError(DWORD code)
{
    LumTests::lastError = code;
}

DWORD FormatMessageA(DWORD flags, const void* source, DWORD messageId, DWORD languageId, LPSTR buffer, DWORD size,
                     void* arguments)
{
    using namespace LumTests;
    const WithMemory withMemory;
    const bool succeeds =
        platform().enter("FormatMessageA", "flags=" + hex(flags) + ", source=" + pointer(source) +
                                               ", code=" + std::to_string(messageId) + ", language=" + hex(languageId) +
                                               ", buffer=" + pointer(buffer) + ", size=" + std::to_string(size) +
                                               ", arguments=" + pointer(arguments));
    return succeeds ? platform().formatMessage(messageId, reinterpret_cast<char**>(buffer)) : 0;
}

HLOCAL LocalFree(HLOCAL memory)
{
    const LumTests::WithMemory withMemory;
    platform().enter("LocalFree", LumTests::pointer(memory));
    return platform().freeBuffer(memory);
}

HMODULE LoadLibraryW(const WCHAR* name)
{
    const LumTests::WithMemory withMemory;
    return platform().enter("LoadLibraryW", LumTests::quoted(name)) ? platform().loadModule() : nullptr;
}

BOOL FreeLibrary(HMODULE module)
{
    const LumTests::WithMemory withMemory;
    return platform().enter("FreeLibrary", LumTests::pointer(module)) ? platform().freeModule(module) : FALSE;
}

BOOL GetModuleHandleExW(DWORD flags, const WCHAR* /*address*/, HMODULE* module)
{
    const LumTests::WithMemory withMemory;
    *module = nullptr;
    return platform().enter("GetModuleHandleExW", LumTests::hex(flags)) ? TRUE : FALSE;
}

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the platform's.

__time64_t _time64(__time64_t* result)
{
    const LumTests::WithMemory withMemory;
    return platform().enter("_time64", result == nullptr ? "null" : "set") ? platform().now : -1;
}

/// The scripted platform lives one hour east of Greenwich.
int _localtime64_s(std::tm* local, const __time64_t* seconds)
{
    const LumTests::WithMemory withMemory;
    if (!platform().enter("_localtime64_s", std::to_string(*seconds))) {
        return EINVAL;
    }
    const std::time_t shifted = *seconds + 3600;
    return gmtime_r(&shifted, local) == nullptr ? EINVAL : 0;
}

// NOLINTEND(bugprone-reserved-identifier)

BOOL IsDebuggerPresent()
{
    const LumTests::WithMemory withMemory;
    return platform().enter("IsDebuggerPresent", "") && platform().hasDebugger ? TRUE : FALSE;
}

BOOL GetCPInfo(UINT codePage, CPINFO* info)
{
    const LumTests::WithMemory withMemory;
    constexpr UINT kLongestInUtf8 = 4;
    info->MaxCharSize = kLongestInUtf8;
    return LumTests::platform().enter("GetCPInfo", std::to_string(codePage)) ? TRUE : FALSE;
}

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int length, WCHAR* buffer, int size)
{
    using namespace LumTests;
    const WithMemory withMemory;
    const std::string narrow(text, static_cast<std::size_t>(length));
    if (!platform().enter("MultiByteToWideChar", std::to_string(codePage) + ", " + hex(flags) + ", " +
                                                     bytes(narrow.data(), narrow.size()) + ", " +
                                                     std::to_string(size))) {
        return 0;
    }
    std::u16string wide;
    const bool isValid = toUtf16(narrow, wide);
    return deliverText(isValid, wide, buffer, size);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, const WCHAR* text, int length, char* buffer, int size,
                        const char* defaultCharacter, BOOL* usedDefault)
{
    using namespace LumTests;
    const WithMemory withMemory;
    const std::u16string wide(text, static_cast<std::size_t>(length));
    if (!platform().enter("WideCharToMultiByte", std::to_string(codePage) + ", " + hex(flags) + ", " + quoted(wide) +
                                                     ", " + std::to_string(size) + ", " + pointer(defaultCharacter) +
                                                     ", " + pointer(usedDefault))) {
        return 0;
    }
    std::string narrow;
    const bool isValid = toUtf8(wide, narrow);
    return deliverText(isValid, narrow, buffer, size);
}

HINTERNET WinHttpOpen(const WCHAR* agent, DWORD accessType, const WCHAR* proxy, const WCHAR* bypass, DWORD flags)
{
    using namespace LumTests;
    const WithMemory withMemory;
    const bool succeeds = platform().enter(
        "WinHttpOpen", "agent=" + quoted(agent) + ", access=" + std::to_string(accessType) +
                           ", proxy=" + quoted(proxy) + ", bypass=" + quoted(bypass) + ", flags=" + hex(flags));
    return succeeds ? platform().open("session") : nullptr;
}

WINHTTP_STATUS_CALLBACK WinHttpSetStatusCallback(HINTERNET handle, WINHTTP_STATUS_CALLBACK callback,
                                                 DWORD notifications, DWORD_PTR reserved)
{
    using namespace LumTests;
    const WithMemory withMemory;
    const bool succeeds = platform().enter(
        "WinHttpSetStatusCallback", platform().nameOf(handle) + ", callback=" + (callback == nullptr ? "null" : "set") +
                                        ", notifications=" + hex(notifications) + ", reserved=" + hex(reserved));
    if (!succeeds) {
        return WINHTTP_INVALID_STATUS_CALLBACK;
    }
    platform().setCallback(callback, notifications);
    return nullptr;
}

HINTERNET WinHttpConnect(HINTERNET session, const WCHAR* host, INTERNET_PORT port, DWORD reserved)
{
    using namespace LumTests;
    const WithMemory withMemory;
    const bool succeeds =
        platform().enter("WinHttpConnect", platform().nameOf(session) + ", host=" + quoted(host) +
                                               ", port=" + std::to_string(port) + ", reserved=" + hex(reserved));
    return succeeds ? platform().open("connection") : nullptr;
}

HINTERNET WinHttpOpenRequest(HINTERNET connection, const WCHAR* verb, const WCHAR* objectName, const WCHAR* version,
                             const WCHAR* referrer, const WCHAR** acceptTypes, DWORD flags)
{
    using namespace LumTests;
    const WithMemory withMemory;
    const bool succeeds =
        platform().enter("WinHttpOpenRequest", platform().nameOf(connection) + ", verb=" + quoted(verb) +
                                                   ", object=" + quoted(objectName) + ", version=" + quoted(version) +
                                                   ", referrer=" + quoted(referrer) +
                                                   ", accept=" + pointer(acceptTypes) + ", flags=" + hex(flags));
    return succeeds ? platform().open("request") : nullptr;
}

BOOL WinHttpSetOption(HINTERNET handle, DWORD option, LPVOID value, DWORD size)
{
    using namespace LumTests;
    const WithMemory withMemory;
    DWORD number = 0;
    std::memcpy(&number, value, std::min<std::size_t>(size, sizeof(number)));
    return platform().enter("WinHttpSetOption", platform().nameOf(handle) + ", option=" + std::to_string(option) +
                                                    ", value=" + std::to_string(number) +
                                                    ", size=" + std::to_string(size))
               ? TRUE
               : FALSE;
}

BOOL WinHttpSendRequest(HINTERNET request, const WCHAR* headers, DWORD headersLength, LPVOID optional,
                        DWORD optionalLength, DWORD totalLength, DWORD_PTR context)
{
    using namespace LumTests;
    const WithMemory withMemory;
    const std::string headerText =
        headers == nullptr ? "null" : quoted(std::u16string(headers, static_cast<std::size_t>(headersLength)));
    const bool succeeds = platform().enter(
        "WinHttpSendRequest",
        platform().nameOf(request) + ", headers=" + headerText + ", headersLength=" + std::to_string(headersLength) +
            ", body=" + bytes(optional, optionalLength) + ", bodyLength=" + std::to_string(optionalLength) +
            ", totalLength=" + std::to_string(totalLength) + ", context=" + (context == 0 ? "0" : "set"));
    return succeeds ? platform().send(request, optional, context) : FALSE;
}

BOOL WinHttpReceiveResponse(HINTERNET request, LPVOID reserved)
{
    using namespace LumTests;
    const WithMemory withMemory;
    if (!platform().enter("WinHttpReceiveResponse", platform().nameOf(request) + ", reserved=" + pointer(reserved))) {
        return FALSE;
    }
    if (platform().deliversInsideCalls) {
        platform().deliverHeadersAvailable();
    }
    return TRUE;
}

BOOL WinHttpQueryHeaders(HINTERNET request, DWORD level, const WCHAR* name, LPVOID buffer, DWORD* size, DWORD* index)
{
    using namespace LumTests;
    const WithMemory withMemory;
    const bool succeeds =
        platform().enter("WinHttpQueryHeaders", platform().nameOf(request) + ", level=" + hex(level) +
                                                    ", name=" + quoted(name) + ", buffer=" + pointer(buffer) +
                                                    ", size=" + std::to_string(*size) + ", index=" + pointer(index));
    if (!succeeds) {
        return FALSE;
    }
    if (level == WINHTTP_QUERY_RAW_HEADERS_CRLF) {
        return platform().queryRawHeaders(buffer, *size);
    }
    std::memcpy(buffer, &platform().status, sizeof(DWORD));
    return TRUE;
}

BOOL WinHttpQueryDataAvailable(HINTERNET request, DWORD* available)
{
    using namespace LumTests;
    const WithMemory withMemory;
    if (!platform().enter("WinHttpQueryDataAvailable",
                          platform().nameOf(request) + ", available=" + pointer(available))) {
        return FALSE;
    }
    if (platform().deliversInsideCalls) {
        platform().deliverDataAvailable();
    }
    return TRUE;
}

BOOL WinHttpReadData(HINTERNET request, LPVOID buffer, DWORD size, DWORD* read)
{
    using namespace LumTests;
    const WithMemory withMemory;
    const bool succeeds =
        platform().enter("WinHttpReadData", platform().nameOf(request) + ", buffer=" + pointer(buffer) +
                                                ", size=" + std::to_string(size) + ", read=" + pointer(read));
    return succeeds ? platform().read(buffer, size) : FALSE;
}

BOOL WinHttpCloseHandle(HINTERNET handle)
{
    const LumTests::WithMemory withMemory;
    return platform().enter("WinHttpCloseHandle", platform().nameOf(handle)) ? platform().close(handle) : FALSE;
}
