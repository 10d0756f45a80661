#include "common/utils/LumTextUtils.h"
#include "platform/LumPlatform.h"
#include "platform/WinHttpExchange.h"

#include <gtest/gtest.h>

#include <curl/curl.h>

#include <cerrno>
#include <ctime>
#include <limits>
#include <string>

/// The layer is a closed list: whatever stands outside it fails, and nothing pretends to succeed.

namespace {

using LumTests::WinHttpExchange;

constexpr DWORD kSystemText =
    FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
constexpr DWORD kModuleText = kSystemText | FORMAT_MESSAGE_FROM_HMODULE;

HMODULE winHttpModule()
{
    return LoadLibraryW(u"winhttp.dll");
}

std::string messageText(DWORD flags, const void* source, DWORD code)
{
    char* text = nullptr;
    const DWORD length = FormatMessageA(flags, source, code, 0x400, reinterpret_cast<LPSTR>(&text), 0, nullptr);
    std::string message = length == 0 ? std::string() : std::string(text, length);
    LocalFree(text);
    return message;
}

/// What opens a request to the scripted server.
WinHttpExchange::Settings settings()
{
    return LumTests::toScripted("/bytes?n=10");
}

template <typename Result>
void expectInvalidParameter(Result result, const char* what)
{
    const DWORD error = GetLastError();
    EXPECT_FALSE(result) << what;
    EXPECT_EQ(error, ERROR_INVALID_PARAMETER) << what;
}

TEST(PosixPlatformTest, TheLastErrorIsErrno)
{
    errno = ENOENT;
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ENOENT));
    SetLastError(12029);
    EXPECT_EQ(errno, 12029);
}

TEST(PosixPlatformTest, TheTimeIsOnlyReturned)
{
    __time64_t now = 7;
    EXPECT_EQ(_time64(&now), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(now, 7);
    EXPECT_GT(_time64(nullptr), 1700000000);
}

TEST(PosixPlatformTest, ALocalTimeNeedsATimeWithinTheCalendar)
{
    std::tm local{};
    __time64_t seconds = 0;
    EXPECT_EQ(_localtime64_s(nullptr, &seconds), EINVAL);
    EXPECT_EQ(_localtime64_s(&local, nullptr), EINVAL);
    EXPECT_EQ(_localtime64_s(&local, &seconds), 0);
    seconds = std::numeric_limits<__time64_t>::max();
    EXPECT_EQ(_localtime64_s(&local, &seconds), EINVAL) << "its year is no int";
}

TEST(PosixPlatformTest, TheWinHttpModuleHasTextsForTheNumbersOfItsCalls)
{
    struct Row {
        DWORD code;
        const char* text;
    };
    constexpr Row kRows[] = {
        {6, "The handle is invalid."},
        {8, "Not enough memory resources are available to process this command."},
        {87, "The parameter is incorrect."},
        {122, "The data area passed to a system call is too small."},
        {1113, "No mapping for the Unicode character exists in the target multi-byte code page."},
        {12002, "The operation timed out"},
        {12004, "An internal error occurred in the Microsoft Windows HTTP Services"},
        {12007, "The server name or address could not be resolved"},
        {12012, "The Microsoft Windows HTTP Services is shutting down"},
        {12017, "The operation has been canceled"},
        {12018, "The handle supplied is not the correct type for the requested operation"},
        {12019, "The handle is in the wrong state for the requested operation"},
        {12029, "A connection with the server could not be established"},
        {12030, "The connection with the server was terminated abnormally"},
        {12152, "The server returned an invalid or unrecognized response"},
        {12156, "The HTTP redirect request failed"},
        {12157, "An error occurred in the secure channel support"},
        {12175, "A security error occurred"},
    };
    for (const Row& row : kRows) {
        EXPECT_EQ(messageText(kModuleText, winHttpModule(), row.code), std::string(row.text) + "\r\n");
    }
}

TEST(PosixPlatformTest, OtherNumbersHaveTheSystemsTexts)
{
    EXPECT_EQ(messageText(kSystemText, nullptr, ENOENT), "No such file or directory\r\n");
    EXPECT_EQ(messageText(kModuleText, winHttpModule(), EACCES), "Permission denied\r\n");
    EXPECT_EQ(messageText(kSystemText, nullptr, 12029), "") << "the system knows nothing of WinHTTP";
    SetLastError(0);
    EXPECT_EQ(messageText(kModuleText, winHttpModule(), 1234567), "");
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MR_MID_NOT_FOUND});
}

TEST(PosixPlatformTest, FormatMessageTakesOnlyTheListedFlags)
{
    char* text = nullptr;
    const auto format = [&](DWORD flags, const void* source, DWORD size) {
        return FormatMessageA(flags, source, 6, 0x400, reinterpret_cast<LPSTR>(&text), size, nullptr);
    };
    expectInvalidParameter(format(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 0), "no buffer is allocated");
    expectInvalidParameter(format(kSystemText | 0x40, nullptr, 0), "unknown flag");
    expectInvalidParameter(format(kModuleText, nullptr, 0), "no module");
    expectInvalidParameter(format(kSystemText, nullptr, 10), "a minimum size");
}

TEST(PosixPlatformTest, OnlyTheWinHttpModuleCanBeLoaded)
{
    expectInvalidParameter(LoadLibraryW(u"kernel32.dll") != nullptr, "another module");
    expectInvalidParameter(LoadLibraryW(nullptr) != nullptr, "no name");
}

TEST(PosixPlatformTest, TextIsConvertedStrictlyAndFromUtf8Only)
{
    WCHAR wide[8] = {};
    char narrow[8] = {};
    expectInvalidParameter(MultiByteToWideChar(1252, MB_ERR_INVALID_CHARS, "a", 1, wide, 8), "code page");
    expectInvalidParameter(MultiByteToWideChar(CP_THREAD_ACP, 0, "a", -1, wide, 8), "unknown length");
    expectInvalidParameter(WideCharToMultiByte(1252, WC_ERR_INVALID_CHARS, u"a", 1, narrow, 8, nullptr, nullptr),
                           "code page");
    expectInvalidParameter(WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, u"a", 1, narrow, 8, "?", nullptr),
                           "default character");
}

TEST(PosixPlatformTest, TheThreadsCodePageIsUtf8)
{
    WCHAR wide[8] = {};
    char narrow[8] = {};
    EXPECT_EQ(MultiByteToWideChar(CP_THREAD_ACP, MB_ERR_INVALID_CHARS, "\xE2\x82\xAC", 3, wide, 8), 1);
    EXPECT_EQ(wide[0], u'\u20AC');
    EXPECT_EQ(MultiByteToWideChar(CP_THREAD_ACP, MB_ERR_INVALID_CHARS, "a\xE2\x82", 3, wide, 8), 0);
    EXPECT_EQ(GetLastError(), ERROR_NO_UNICODE_TRANSLATION);
    EXPECT_EQ(WideCharToMultiByte(CP_THREAD_ACP, WC_NO_BEST_FIT_CHARS, u"\u20AC", 1, narrow, 8, nullptr, nullptr), 3);
    EXPECT_EQ(std::string(narrow, 3), "\xE2\x82\xAC");
    const WCHAR unpaired[] = {u'a', 0xD800};
    EXPECT_EQ(WideCharToMultiByte(CP_THREAD_ACP, WC_NO_BEST_FIT_CHARS, unpaired, 2, narrow, 8, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_NO_UNICODE_TRANSLATION);
    expectInvalidParameter(WideCharToMultiByte(CP_THREAD_ACP, 0, u"a", 1, narrow, 8, nullptr, nullptr), "best fit");
    expectInvalidParameter(MultiByteToWideChar(CP_THREAD_ACP, 1, "a", 1, wide, 8), "another flag");
}

TEST(PosixPlatformTest, TheThreadsCodePageHasCharactersOfFourBytes)
{
    CPINFO info{};
    EXPECT_TRUE(GetCPInfo(CP_THREAD_ACP, &info));
    EXPECT_EQ(info.MaxCharSize, 4U);
    expectInvalidParameter(GetCPInfo(CP_UTF8, &info), "another code page");
    expectInvalidParameter(GetCPInfo(CP_THREAD_ACP, nullptr), "nowhere to put it");
}

TEST(PosixPlatformTest, WithoutFlagsEachPartThatCouldBeginTextIsReplacedByOneCharacter)
{
    struct Case {
        std::string text;
        std::u16string replaced;
    };
    const Case cases[] = {
        {"\xE1\x80", u"\uFFFD"},
        {"\xE1\x80z", u"\uFFFDz"},
        {"\xE2\x82z\xFF\xC3\xA4", u"\uFFFDz\uFFFD\u00E4"},
        {"\xF1\x80\x80", u"\uFFFD"},
        {"\xF1\x80\x80\xE1\x80\xC2z", u"\uFFFD\uFFFD\uFFFDz"},
        {"\xE0\x80\x80", u"\uFFFD\uFFFD\uFFFD"},
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
        {"\xF0\x8F\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"\xF4\x8F\xBF\x41", u"\uFFFD\u0041"},
        {"\xC1\xBF", u"\uFFFD\uFFFD"},
        {"\x80\xBF", u"\uFFFD\uFFFD"},
        {"\xED\x9F", u"\uFFFD"},
        {"\xEF\xBF\xBF\xF0\x90\x80\x80", u"\uFFFF\U00010000"},
    };
    for (const auto& [text, replaced] : cases) {
        WCHAR wide[8] = {};
        const int count = MultiByteToWideChar(CP_THREAD_ACP, 0, text.data(), static_cast<int>(text.size()), wide, 8);
        EXPECT_EQ(std::u16string(wide, static_cast<std::size_t>(count)), replaced);
    }
}

TEST(PosixPlatformTest, ModulesAreOnlyPinned)
{
    HMODULE module = nullptr;
    const auto* const address = reinterpret_cast<const WCHAR*>(&curl_version);
    constexpr DWORD kPin = GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS;
    expectInvalidParameter(GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, address, &module), "no pin");
    expectInvalidParameter(GetModuleHandleExW(kPin, nullptr, &module), "no address");
    expectInvalidParameter(GetModuleHandleExW(kPin, address, nullptr), "nowhere to put it");
    EXPECT_TRUE(GetModuleHandleExW(kPin, address, &module));
}

TEST(PosixPlatformTest, SessionsAreOpenedOnlyAsListed)
{
    expectInvalidParameter(
        WinHttpOpen(u"agent", WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY, nullptr, nullptr, WINHTTP_FLAG_ASYNC) != nullptr,
        "agent");
    expectInvalidParameter(WinHttpOpen(nullptr, 3, nullptr, nullptr, WINHTTP_FLAG_ASYNC) != nullptr, "access type");
    expectInvalidParameter(
        WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY, u"proxy", nullptr, WINHTTP_FLAG_ASYNC) != nullptr,
        "proxy");
    expectInvalidParameter(WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY, nullptr, nullptr, 0) != nullptr,
                           "synchronous");
}

TEST(PosixPlatformTest, CallbacksAreSetOnlyAsListed)
{
    WinHttpExchange exchange(settings());
    const auto callback = [](HINTERNET, DWORD_PTR, DWORD, LPVOID, DWORD) {};
    EXPECT_EQ(WinHttpSetStatusCallback(exchange.Session(), callback, 0xFFFFFFFF, 0), WINHTTP_INVALID_STATUS_CALLBACK);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(WinHttpSetStatusCallback(exchange.Session(), callback, 0, 1), WINHTTP_INVALID_STATUS_CALLBACK);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(WinHttpSetStatusCallback(exchange.Request(), callback, 0, 0), WINHTTP_INVALID_STATUS_CALLBACK);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(PosixPlatformTest, RequestsAreOpenedOnlyAsListed)
{
    WinHttpExchange exchange(settings());
    const HINTERNET connection = exchange.Connection();
    const WCHAR* acceptTypes[] = {u"*/*", nullptr};
    const auto open = [&](const WCHAR* version, const WCHAR* referrer, const WCHAR** types, DWORD flags) {
        return WinHttpOpenRequest(connection, u"GET", u"/", version, referrer, types, flags) != nullptr;
    };
    expectInvalidParameter(open(u"HTTP/1.0", nullptr, nullptr, WINHTTP_FLAG_REFRESH), "version");
    expectInvalidParameter(open(nullptr, u"referrer", nullptr, WINHTTP_FLAG_REFRESH), "referrer");
    expectInvalidParameter(open(nullptr, nullptr, acceptTypes, WINHTTP_FLAG_REFRESH), "accept types");
    expectInvalidParameter(open(nullptr, nullptr, nullptr, 0), "no refresh");
    expectInvalidParameter(open(nullptr, nullptr, nullptr, WINHTTP_FLAG_REFRESH | 0x40), "unknown flag");
    expectInvalidParameter(WinHttpConnect(exchange.Session(), nullptr, 80, 0) != nullptr, "no host");
    expectInvalidParameter(WinHttpConnect(exchange.Session(), u"h", 80, 1) != nullptr, "reserved");
}

TEST(PosixPlatformTest, OptionsTakeOnlyTheListedValues)
{
    WinHttpExchange exchange(settings());
    DWORD value = 1;
    const auto set = [&](DWORD option, LPVOID address, DWORD size) {
        return WinHttpSetOption(exchange.Request(), option, address, size);
    };
    expectInvalidParameter(set(WINHTTP_OPTION_REDIRECT_POLICY, &value, sizeof(value)), "policy 1");
    expectInvalidParameter(set(2, &value, sizeof(value)), "unknown option");
    expectInvalidParameter(set(WINHTTP_OPTION_CONNECT_TIMEOUT, nullptr, sizeof(value)), "no value");
    expectInvalidParameter(set(WINHTTP_OPTION_CONNECT_TIMEOUT, &value, 2), "size");
}

TEST(PosixPlatformTest, SendsTakeOnlyWhatCanBeSentWhole)
{
    WinHttpExchange exchange(settings());
    char body[] = "body";
    const auto send = [&](std::u16string_view headers, void* content, DWORD length, DWORD total) {
        return WinHttpSendRequest(exchange.Request(), headers.data(), static_cast<DWORD>(headers.size()), content,
                                  length, total, 0);
    };
    expectInvalidParameter(send(u"no colon\r\n", nullptr, 0, 0), "no colon");
    expectInvalidParameter(send(u": no name\r\n", nullptr, 0, 0), "no name");
    expectInvalidParameter(send(std::u16string_view(u"X-A: a\0b\r\n", 10), nullptr, 0, 0), "NUL");
    expectInvalidParameter(send(u"", nullptr, 4, 4), "no body where a length is given");
    expectInvalidParameter(send(u"", body, 4, 8), "the rest of the body is to be written later");
    EXPECT_FALSE(send(u"X-A: \xD800\r\n", nullptr, 0, 0));
    EXPECT_EQ(GetLastError(), ERROR_NO_UNICODE_TRANSLATION);
}

TEST(PosixPlatformTest, QueriesTakeOnlyTheListedLevels)
{
    WinHttpExchange exchange(settings());
    ASSERT_TRUE(exchange.Run());
    DWORD value = 0;
    DWORD size = sizeof(value);
    DWORD index = 0;
    const auto query = [&](DWORD level, const WCHAR* name, DWORD* querySize, DWORD* queryIndex) {
        return WinHttpQueryHeaders(exchange.Request(), level, name, &value, querySize, queryIndex);
    };
    expectInvalidParameter(query(WINHTTP_QUERY_STATUS_CODE, nullptr, &size, nullptr), "status as text");
    expectInvalidParameter(query(21, nullptr, &size, nullptr), "other form of the raw headers");
    expectInvalidParameter(query(WINHTTP_QUERY_RAW_HEADERS_CRLF, u"Name", &size, nullptr), "name");
    expectInvalidParameter(query(WINHTTP_QUERY_RAW_HEADERS_CRLF, nullptr, nullptr, nullptr), "no size");
    expectInvalidParameter(query(WINHTTP_QUERY_RAW_HEADERS_CRLF, nullptr, &size, &index), "index");
    DWORD available = 0;
    expectInvalidParameter(WinHttpQueryDataAvailable(exchange.Request(), &available), "synchronous query");
    char byte = 0;
    expectInvalidParameter(WinHttpReadData(exchange.Request(), &byte, 1, &available), "synchronous read");
    expectInvalidParameter(WinHttpReadData(exchange.Request(), nullptr, 1, nullptr), "no buffer");
}

} // namespace
