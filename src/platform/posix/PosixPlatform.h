#pragma once

/// The platform calls of the library on POSIX systems, under the reference platform's names. This is a closed list, not
/// an emulation: each call takes exactly the flags and values that stand here and fails with ERROR_INVALID_PARAMETER on
/// any other.
///
// clang-format off
/// | call                       | takes                                                                                    |
/// |----------------------------|------------------------------------------------------------------------------------------|
/// | GetLastError, SetLastError | the thread's last error; it is errno                                                     |
/// | FormatMessageA             | allocate-buffer, ignore-inserts and from-system, with or without from-hmodule            |
/// | LocalFree                  | a buffer that FormatMessageA allocated, or null                                          |
/// | LoadLibraryW, FreeLibrary  | "winhttp.dll", for its message texts                                                     |
/// | CreateFileW                | GENERIC_READ and GENERIC_WRITE, one or both; FILE_SHARE_READ and FILE_SHARE_WRITE, none, |
/// |                            | one or both; no security, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, no template                |
/// | LockFileEx                 | one of LOCKFILE_FAIL_IMMEDIATELY (shared) and LOCKFILE_EXCLUSIVE_LOCK (waits); offset 0, |
/// |                            | length 0xFFFFFFFF and 0xFFFFFFFF; one lock a handle                                      |
/// | UnlockFileEx               | the same range, when it is locked                                                        |
/// | GetFileSize                | no high word; larger files fail with EFBIG                                               |
/// | ReadFile, WriteFile        | no overlapped record; at the file's position                                             |
/// | SetFilePointer             | distance 0 without high word, FILE_BEGIN                                                 |
/// | SetEndOfFile               | cuts the file off at its position                                                        |
/// | CloseHandle                | an open file                                                                             |
/// | GetTempPathA               | a buffer; the path is TMPDIR's or /tmp, and ends in a backslash                          |
/// | GetModuleHandleExW         | PIN and FROM_ADDRESS                                                                     |
/// | MultiByteToWideChar        | CP_THREAD_ACP, which is UTF-8, with or without MB_ERR_INVALID_CHARS                      |
/// | GetCPInfo                  | CP_THREAD_ACP, for the length of its longest character                                   |
/// | WideCharToMultiByte        | CP_UTF8 with WC_ERR_INVALID_CHARS; CP_THREAD_ACP, as strict, with WC_NO_BEST_FIT_CHARS   |
/// | _time64                    | no address for the result, which it returns                                              |
/// | _localtime64_s             | any time that the system's calendar has; it may be called from several threads at once   |
/// | IsDebuggerPresent          | nothing; true while another process traces this one                                      |
/// | WinHttpOpen                | automatic proxy, no agent, no proxy name, no bypass list, asynchronous                   |
/// | WinHttpSetStatusCallback   | a session; any of the notifications below                                                |
/// | WinHttpConnect             | a host name or an address, IPv6 with or without brackets; port 0 is the scheme's         |
/// | WinHttpOpenRequest         | any verb, default version, no referrer, no accept types; REFRESH, with or without SECURE |
/// | WinHttpSetOption           | CONNECT_TIMEOUT (milliseconds, 0 and 0xFFFFFFFF: none); REDIRECT_POLICY never or always  |
/// | WinHttpSendRequest         | a header block or none; a body, which must live until the handle is closed               |
/// | WinHttpReceiveResponse     | after the request was sent                                                               |
/// | WinHttpQueryHeaders        | STATUS_CODE as a number; RAW_HEADERS_CRLF                                                |
/// | WinHttpQueryDataAvailable  | after the headers                                                                        |
/// | WinHttpReadData            | after the headers                                                                        |
/// | WinHttpCloseHandle         | any open handle                                                                          |
// clang-format on
///
/// File calls leave the system's own numbers in the last error: EBUSY where the share modes of two opens exclude each
/// other, EAGAIN where a lock is held elsewhere, EBADF for what is no open file. Paths are UTF-16, and name the file of
/// the same text in UTF-8; a backslash is a separator as a slash is. Only regular files with an end are opened, others
/// give ENOTSUP (directories EISDIR). A read that is cut short by the end leaves ENODATA. Locks and share modes are
/// heeded by this layer, streams, renames and deletions included; they stop no other program. The file calls may be
/// made on any thread; closing a handle while a call uses it takes effect when that call ends.
///
/// A request fails with ERROR_WINHTTP_TIMEOUT when nothing could be sent or received for 30 s, and when the head of the
/// response has not come 90 s after the request was sent: the reference platform's defaults.
///
/// WinHTTP, text and module calls leave the reference platform's numbers, so that a host sees one number for one
/// failure on every system; FormatMessageA has the texts of the first two when it is given the WinHTTP module.

#include <cstddef>
#include <cstdint>
#include <ctime>

/// The platform's name, as messages carry it.
constexpr const char* kLumPlatformName = "Linux";

/// Whether requests under way go on, and notify, when the module that started them is unloaded. Here they are
/// abandoned.
constexpr bool kLumRequestsOutliveModule = false;

/// The std::random_device to ask. The default one is an instruction of the processor, which repeats itself on some.
constexpr const char* kLumRandomDevice = "/dev/urandom";

// NOLINTBEGIN: the names are the reference platform's.

using BOOL = int;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using DWORD_PTR = std::uintptr_t;
using UINT = unsigned int;
using WCHAR = char16_t;
using LPSTR = char*;
using LPVOID = void*;
using HANDLE = void*;
using HLOCAL = void*;
using HMODULE = void*;
using HINTERNET = void*;
using INTERNET_PORT = std::uint16_t;

#define CALLBACK

/// The calling convention of the functions that hosts call, and of those that they hand over.
#define LUM_CDECL

/// Before a function that hosts find by its name in the library.
#define LUM_EXPORT __attribute__((visibility("default")))

constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;

constexpr DWORD ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
constexpr DWORD ERROR_MR_MID_NOT_FOUND = 317;
constexpr DWORD ERROR_INVALID_FLAGS = 1004;
constexpr DWORD ERROR_NO_UNICODE_TRANSLATION = 1113;

constexpr DWORD ERROR_WINHTTP_TIMEOUT = 12002;
constexpr DWORD ERROR_WINHTTP_INTERNAL_ERROR = 12004;
constexpr DWORD ERROR_WINHTTP_NAME_NOT_RESOLVED = 12007;
constexpr DWORD ERROR_WINHTTP_SHUTDOWN = 12012;
constexpr DWORD ERROR_WINHTTP_OPERATION_CANCELLED = 12017;
constexpr DWORD ERROR_WINHTTP_INCORRECT_HANDLE_TYPE = 12018;
constexpr DWORD ERROR_WINHTTP_INCORRECT_HANDLE_STATE = 12019;
constexpr DWORD ERROR_WINHTTP_CANNOT_CONNECT = 12029;
constexpr DWORD ERROR_WINHTTP_CONNECTION_ERROR = 12030;
constexpr DWORD ERROR_WINHTTP_INVALID_SERVER_RESPONSE = 12152;
constexpr DWORD ERROR_WINHTTP_REDIRECT_FAILED = 12156;
constexpr DWORD ERROR_WINHTTP_SECURE_CHANNEL_ERROR = 12157;
constexpr DWORD ERROR_WINHTTP_SECURE_FAILURE = 12175;

DWORD GetLastError();
void SetLastError(DWORD code);

constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x0100;
constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x0200;
constexpr DWORD FORMAT_MESSAGE_FROM_HMODULE = 0x0800;
constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;

DWORD FormatMessageA(DWORD flags, const void* source, DWORD messageId, DWORD languageId, LPSTR buffer, DWORD size,
                     void* arguments);
HLOCAL LocalFree(HLOCAL memory);
HMODULE LoadLibraryW(const WCHAR* name);
BOOL FreeLibrary(HMODULE module);

inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~std::uintptr_t{0});
constexpr DWORD GENERIC_READ = 0x80000000;
constexpr DWORD GENERIC_WRITE = 0x40000000;
constexpr DWORD FILE_SHARE_READ = 1;
constexpr DWORD FILE_SHARE_WRITE = 2;
constexpr DWORD OPEN_ALWAYS = 4;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr DWORD LOCKFILE_FAIL_IMMEDIATELY = 1;
constexpr DWORD LOCKFILE_EXCLUSIVE_LOCK = 2;
constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF;
constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFF;
constexpr DWORD FILE_BEGIN = 0;

struct OVERLAPPED {
    DWORD Offset;
    DWORD OffsetHigh;
};

HANDLE CreateFileW(const WCHAR* name, DWORD access, DWORD share, std::nullptr_t security, DWORD disposition,
                   DWORD attributes, std::nullptr_t templateFile);
BOOL LockFileEx(HANDLE file, DWORD flags, DWORD reserved, DWORD lengthLow, DWORD lengthHigh, OVERLAPPED* overlapped);
BOOL UnlockFileEx(HANDLE file, DWORD reserved, DWORD lengthLow, DWORD lengthHigh, OVERLAPPED* overlapped);
DWORD GetFileSize(HANDLE file, std::nullptr_t sizeHigh);
BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD size, DWORD* read, std::nullptr_t overlapped);
BOOL WriteFile(HANDLE file, const void* buffer, DWORD size, DWORD* written, std::nullptr_t overlapped);
DWORD SetFilePointer(HANDLE file, LONG distance, std::nullptr_t distanceHigh, DWORD method);
BOOL SetEndOfFile(HANDLE file);
BOOL CloseHandle(HANDLE handle);
DWORD GetTempPathA(DWORD size, LPSTR buffer);

constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_PIN = 0x1;
constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS = 0x4;

BOOL GetModuleHandleExW(DWORD flags, const WCHAR* address, HMODULE* module);

constexpr UINT CP_THREAD_ACP = 3;
constexpr UINT CP_UTF8 = 65001;
constexpr DWORD MB_ERR_INVALID_CHARS = 0x08;
constexpr DWORD WC_ERR_INVALID_CHARS = 0x80;
constexpr DWORD WC_NO_BEST_FIT_CHARS = 0x400;

struct CPINFO {
    UINT MaxCharSize;
};

BOOL GetCPInfo(UINT codePage, CPINFO* info);
int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int length, WCHAR* buffer, int size);
int WideCharToMultiByte(UINT codePage, DWORD flags, const WCHAR* text, int length, char* buffer, int size,
                        const char* defaultCharacter, BOOL* usedDefault);

using __time64_t = std::int64_t;

__time64_t _time64(__time64_t* result);
int _localtime64_s(std::tm* local, const __time64_t* seconds);

BOOL IsDebuggerPresent();

constexpr DWORD WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY = 4;
constexpr std::nullptr_t WINHTTP_NO_PROXY_NAME = nullptr;
constexpr std::nullptr_t WINHTTP_NO_PROXY_BYPASS = nullptr;
constexpr DWORD WINHTTP_FLAG_ASYNC = 0x10000000;

constexpr DWORD WINHTTP_CALLBACK_STATUS_HANDLE_CREATED = 0x00000400;
constexpr DWORD WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING = 0x00000800;
constexpr DWORD WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE = 0x00020000;
constexpr DWORD WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE = 0x00040000;
constexpr DWORD WINHTTP_CALLBACK_STATUS_READ_COMPLETE = 0x00080000;
constexpr DWORD WINHTTP_CALLBACK_STATUS_WRITE_COMPLETE = 0x00100000;
constexpr DWORD WINHTTP_CALLBACK_STATUS_REQUEST_ERROR = 0x00200000;
constexpr DWORD WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE = 0x00400000;
constexpr DWORD WINHTTP_CALLBACK_STATUS_GETPROXYFORURL_COMPLETE = 0x01000000;
constexpr DWORD WINHTTP_CALLBACK_STATUS_GETPROXYSETTINGS_COMPLETE = 0x08000000;

using WINHTTP_STATUS_CALLBACK = void (*)(HINTERNET handle, DWORD_PTR context, DWORD status, LPVOID information,
                                         DWORD length);
inline const WINHTTP_STATUS_CALLBACK WINHTTP_INVALID_STATUS_CALLBACK =
    reinterpret_cast<WINHTTP_STATUS_CALLBACK>(~std::uintptr_t{0});

constexpr DWORD_PTR API_RECEIVE_RESPONSE = 1;
constexpr DWORD_PTR API_QUERY_DATA_AVAILABLE = 2;
constexpr DWORD_PTR API_READ_DATA = 3;
constexpr DWORD_PTR API_SEND_REQUEST = 5;

struct WINHTTP_ASYNC_RESULT {
    DWORD_PTR dwResult;
    DWORD dwError;
};

constexpr INTERNET_PORT INTERNET_DEFAULT_PORT = 0;
constexpr std::nullptr_t WINHTTP_NO_REFERER = nullptr;
constexpr std::nullptr_t WINHTTP_DEFAULT_ACCEPT_TYPES = nullptr;
constexpr DWORD WINHTTP_FLAG_REFRESH = 0x00000100;
constexpr DWORD WINHTTP_FLAG_SECURE = 0x00800000;

constexpr DWORD WINHTTP_OPTION_CONNECT_TIMEOUT = 3;
constexpr DWORD WINHTTP_OPTION_REDIRECT_POLICY = 88;
constexpr DWORD WINHTTP_OPTION_REDIRECT_POLICY_NEVER = 0;
constexpr DWORD WINHTTP_OPTION_REDIRECT_POLICY_ALWAYS = 2;

constexpr std::nullptr_t WINHTTP_NO_ADDITIONAL_HEADERS = nullptr;
constexpr std::nullptr_t WINHTTP_NO_REQUEST_DATA = nullptr;
constexpr std::nullptr_t WINHTTP_HEADER_NAME_BY_INDEX = nullptr;
constexpr std::nullptr_t WINHTTP_NO_OUTPUT_BUFFER = nullptr;
constexpr std::nullptr_t WINHTTP_NO_HEADER_INDEX = nullptr;
constexpr DWORD WINHTTP_QUERY_STATUS_CODE = 19;
constexpr DWORD WINHTTP_QUERY_RAW_HEADERS_CRLF = 22;
constexpr DWORD WINHTTP_QUERY_FLAG_NUMBER = 0x20000000;

HINTERNET WinHttpOpen(const WCHAR* agent, DWORD accessType, const WCHAR* proxy, const WCHAR* bypass, DWORD flags);
WINHTTP_STATUS_CALLBACK WinHttpSetStatusCallback(HINTERNET handle, WINHTTP_STATUS_CALLBACK callback,
                                                 DWORD notifications, DWORD_PTR reserved);
HINTERNET WinHttpConnect(HINTERNET session, const WCHAR* host, INTERNET_PORT port, DWORD reserved);
HINTERNET WinHttpOpenRequest(HINTERNET connection, const WCHAR* verb, const WCHAR* objectName, const WCHAR* version,
                             const WCHAR* referrer, const WCHAR** acceptTypes, DWORD flags);
BOOL WinHttpSetOption(HINTERNET handle, DWORD option, LPVOID value, DWORD size);
BOOL WinHttpSendRequest(HINTERNET request, const WCHAR* headers, DWORD headersLength, LPVOID optional,
                        DWORD optionalLength, DWORD totalLength, DWORD_PTR context);
BOOL WinHttpReceiveResponse(HINTERNET request, LPVOID reserved);
BOOL WinHttpQueryHeaders(HINTERNET request, DWORD level, const WCHAR* name, LPVOID buffer, DWORD* size, DWORD* index);
BOOL WinHttpQueryDataAvailable(HINTERNET request, DWORD* available);
BOOL WinHttpReadData(HINTERNET request, LPVOID buffer, DWORD size, DWORD* read);
BOOL WinHttpCloseHandle(HINTERNET handle);

// NOLINTEND
