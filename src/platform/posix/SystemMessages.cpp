#include "platform/posix/PosixPlatform.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace {

struct Message {
    DWORD code;
    const char* text;
};

/// The texts of the numbers that the WinHTTP and text calls leave in the last error.
constexpr Message kWinHttpMessages[] = {
    {ERROR_INVALID_HANDLE, "The handle is invalid."},
    {ERROR_NOT_ENOUGH_MEMORY, "Not enough memory resources are available to process this command."},
    {ERROR_INVALID_PARAMETER, "The parameter is incorrect."},
    {ERROR_INSUFFICIENT_BUFFER, "The data area passed to a system call is too small."},
    {ERROR_NO_UNICODE_TRANSLATION, "No mapping for the Unicode character exists in the target multi-byte code page."},
    {ERROR_WINHTTP_TIMEOUT, "The operation timed out"},
    {ERROR_WINHTTP_INTERNAL_ERROR, "An internal error occurred in the Microsoft Windows HTTP Services"},
    {ERROR_WINHTTP_NAME_NOT_RESOLVED, "The server name or address could not be resolved"},
    {ERROR_WINHTTP_SHUTDOWN, "The Microsoft Windows HTTP Services is shutting down"},
    {ERROR_WINHTTP_OPERATION_CANCELLED, "The operation has been canceled"},
    {ERROR_WINHTTP_INCORRECT_HANDLE_TYPE, "The handle supplied is not the correct type for the requested operation"},
    {ERROR_WINHTTP_INCORRECT_HANDLE_STATE, "The handle is in the wrong state for the requested operation"},
    {ERROR_WINHTTP_CANNOT_CONNECT, "A connection with the server could not be established"},
    {ERROR_WINHTTP_CONNECTION_ERROR, "The connection with the server was terminated abnormally"},
    {ERROR_WINHTTP_INVALID_SERVER_RESPONSE, "The server returned an invalid or unrecognized response"},
    {ERROR_WINHTTP_REDIRECT_FAILED, "The HTTP redirect request failed"},
    {ERROR_WINHTTP_SECURE_CHANNEL_ERROR, "An error occurred in the secure channel support"},
    {ERROR_WINHTTP_SECURE_FAILURE, "A security error occurred"},
};

constexpr std::u16string_view kWinHttpModuleName = u"winhttp.dll";

/// The address of the table stands for the module.
const void* winHttpModule()
{
    return kWinHttpMessages;
}

std::string winHttpMessage(DWORD code)
{
    for (const Message& message : kWinHttpMessages) {
        if (message.code == code) {
            return message.text;
        }
    }
    return {};
}

/// The system's own text for an errno, in English whatever the host's locale, or nothing for a number that it does not
/// know.
std::string systemMessage(DWORD code)
{
    const char* const text = strerrordesc_np(static_cast<int>(code));
    return text == nullptr ? std::string() : text;
}

} // namespace

DWORD FormatMessageA(DWORD flags, const void* source, DWORD messageId, DWORD /*languageId*/, LPSTR buffer, DWORD size,
                     void* arguments)
{
    constexpr DWORD kSystemFlags =
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
    const bool fromModule = flags == (kSystemFlags | FORMAT_MESSAGE_FROM_HMODULE);
    const bool isListed = (fromModule && source == winHttpModule()) || (flags == kSystemFlags && source == nullptr);
    if (!isListed || buffer == nullptr || size != 0 || arguments != nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    std::string text = fromModule ? winHttpMessage(messageId) : std::string();
    if (text.empty()) {
        text = systemMessage(messageId);
    }
    if (text.empty()) {
        SetLastError(ERROR_MR_MID_NOT_FOUND);
        return 0;
    }
    // As the reference platform's texts do.
    text += "\r\n";
    char* const copy = static_cast<char*>(std::malloc(text.size() + 1));
    if (copy == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
    std::memcpy(copy, text.c_str(), text.size() + 1);
    std::memcpy(buffer, &copy, sizeof(copy));
    return static_cast<DWORD>(text.size());
}

HLOCAL LocalFree(HLOCAL memory)
{
    std::free(memory);
    return nullptr;
}

HMODULE LoadLibraryW(const WCHAR* name)
{
    if (name == nullptr || kWinHttpModuleName != name) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return const_cast<void*>(winHttpModule());
}

BOOL FreeLibrary(HMODULE module)
{
    if (module != winHttpModule()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    return TRUE;
}
