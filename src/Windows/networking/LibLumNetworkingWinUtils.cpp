#include "Windows/networking/LibLumNetworkingWinUtils.h"

#include "common/networking/LumNetworkingError.h"
#include "common/utils/LumError.h"
#include "common/utils/LumErrorNames.h"
#include "common/utils/LumLog.h"
#include "common/utils/LumPlatformMessage.h"
#include "common/utils/LumTextUtils.h"

#include <any>
#include <string_view>

namespace LumNetworking::LibLumNetworkingWinUtils {

namespace {

/// The platform's networking library, let go also if there is no memory for its text.
struct NetworkingModule {
    NetworkingModule() : handle(LoadLibraryW(LumUtils::utf8ToUtf16("winhttp.dll").c_str())) {}
    ~NetworkingModule() { FreeLibrary(handle); }
    NetworkingModule(const NetworkingModule&) = delete;
    NetworkingModule& operator=(const NetworkingModule&) = delete;

    const HMODULE handle;
};

bool setDwordOption(HINTERNET request, DWORD option, DWORD value)
{
    return WinHttpSetOption(request, option, &value, sizeof(value)) != 0;
}

/// Reads the raw header block; `size` is in bytes and becomes what was read, without the terminating NUL, or what is
/// needed.
bool queryRawHeaders(HINTERNET request, WCHAR* buffer, DWORD& size)
{
    return WinHttpQueryHeaders(request, WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX, buffer, &size,
                               WINHTTP_NO_HEADER_INDEX) != 0;
}

/// Hands each field of the block to `addField`, name and value trimmed.
template <typename AddField>
void forEachField(std::string_view block, AddField addField)
{
    while (!block.empty()) {
        const std::size_t end = block.find('\n');
        const std::string_view line = block.substr(0, end);
        const std::size_t colon = line.find(':');
        if (colon != std::string_view::npos) {
            addField(LumUtils::trimView(line.substr(0, colon)), LumUtils::trimView(line.substr(colon + 1)));
        }
        block.remove_prefix(end == std::string_view::npos ? block.size() : end + 1);
    }
}

/// The raw header block as UTF-8; empty, with the error reported, on failure.
std::string readHeaderBlock(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, HINTERNET request,
                            std::unique_ptr<LumUtils::ILumError>& errorOut)
{
    constexpr const char* kFunction = "GetResponseHeaders";
    errorOut.reset();
    DWORD size = 0;
    if (queryRawHeaders(request, nullptr, size)) {
        return {};
    }
    if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
        ReportWinHttpError(logger, LumNetworkingErrorCode::kReceiveFailed, "WinHttpQueryHeaders", errorOut, __FILE__,
                           kFunction, 95);
        return {};
    }
    LumUtils::WideString block(size / sizeof(WCHAR), WCHAR{});
    if (!queryRawHeaders(request, block.data(), size)) {
        ReportWinHttpError(logger, LumNetworkingErrorCode::kReceiveFailed, "WinHttpQueryHeaders", errorOut, __FILE__,
                           kFunction, 98);
        return {};
    }
    block.resize(size / sizeof(WCHAR));
    return LumUtils::utf16ToUtf8(block);
}

} // namespace

std::string GetWinHttpErrorDescription(DWORD& codeOut)
{
    codeOut = GetLastError();
    const NetworkingModule module;
    return LumUtils::platformMessage(codeOut, FORMAT_MESSAGE_FROM_HMODULE, module.handle);
}

void ReportWinHttpError(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, int code, const char* apiName,
                        std::unique_ptr<LumUtils::ILumError>& errorOut, const char* file, const char* function,
                        unsigned int line)
{
    DWORD platformCode = 0;
    const std::string description = GetWinHttpErrorDescription(platformCode);
    std::map<std::string, std::any> userInfo;
    userInfo[LumUtils::LumErrorNames::kUnderlyingErrorCode] = static_cast<int>(platformCode);
    userInfo[LumUtils::LumErrorNames::kUnderlyingErrorDescription] = description;
    errorOut = std::make_unique<LumUtils::LumError>(LumUtils::LumErrorNames::kNetworkingDomain, code, userInfo);
    LUM_LOG_FROM(logger, Error, file, function, line, "%s Failed with error description: %s", apiName,
                 errorOut->getDescription().c_str());
}

bool SetTimeoutForRequest(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, HINTERNET request,
                          int timeoutSeconds, std::unique_ptr<LumUtils::ILumError>& errorOut)
{
    errorOut.reset();
    const DWORD milliseconds = static_cast<DWORD>(timeoutSeconds) * 1000U;
    if (setDwordOption(request, WINHTTP_OPTION_CONNECT_TIMEOUT, milliseconds)) {
        return true;
    }
    ReportWinHttpError(logger, LumNetworkingErrorCode::kSetOptionFailed, "WinHttpSetOption", errorOut, __FILE__,
                       "SetTimeoutForRequest", 128);
    return false;
}

bool SetShouldFollowRedirectsForRequest(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger,
                                        HINTERNET request, bool followRedirects,
                                        std::unique_ptr<LumUtils::ILumError>& errorOut)
{
    errorOut.reset();
    const DWORD policy = followRedirects ? WINHTTP_OPTION_REDIRECT_POLICY_ALWAYS : WINHTTP_OPTION_REDIRECT_POLICY_NEVER;
    if (setDwordOption(request, WINHTTP_OPTION_REDIRECT_POLICY, policy)) {
        return true;
    }
    ReportWinHttpError(logger, LumNetworkingErrorCode::kSetOptionFailed, "WinHttpSetOption", errorOut, __FILE__,
                       "SetShouldFollowRedirectsForRequest", 143);
    return false;
}

bool QueryHttpStatusCode(HINTERNET request, DWORD& statusOut)
{
    DWORD size = sizeof(statusOut);
    return WinHttpQueryHeaders(request, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                               WINHTTP_HEADER_NAME_BY_INDEX, &statusOut, &size, WINHTTP_NO_HEADER_INDEX) != 0;
}

std::int32_t GetHttpStatusCode(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, HINTERNET request,
                               std::unique_ptr<LumUtils::ILumError>& errorOut)
{
    errorOut.reset();
    DWORD status = 0;
    if (QueryHttpStatusCode(request, status)) {
        return static_cast<std::int32_t>(status);
    }
    ReportWinHttpError(logger, LumNetworkingErrorCode::kReceiveFailed, "WinHttpQueryHeaders", errorOut, __FILE__,
                       "GetHttpStatusCode", 112);
    return 0;
}

std::map<std::string, std::string> GetResponseHeaders(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger,
                                                      HINTERNET request, std::unique_ptr<LumUtils::ILumError>& errorOut)
{
    std::map<std::string, std::string> headers;
    forEachField(readHeaderBlock(logger, request, errorOut),
                 [&](std::string_view name, std::string_view value) { headers[std::string(name)] = value; });
    return headers;
}

bool ReadResponseHeaders(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, HINTERNET request,
                         HttpResponse& response, std::unique_ptr<LumUtils::ILumError>& errorOut)
{
    forEachField(readHeaderBlock(logger, request, errorOut), [&](std::string_view name, std::string_view value) {
        std::vector<std::string>& values = response.headers[std::string(name)];
        values.clear();
        values.emplace_back(value);
    });
    return !errorOut;
}

} // namespace LumNetworking::LibLumNetworkingWinUtils
