#pragma once

#include "common/networking/HttpResponse.h"
#include "common/utils/ILumError.h"
#include "common/utils/ILumUtilsLoggerDelegate.h"
#include "platform/LumPlatform.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace LumNetworking {

/// What the WinHTTP transport does to one request handle.
///
/// The operations keep no state and run on the thread that calls them. Those that take an error slot empty it first;
/// when a platform call fails they leave an error of the networking domain in it, with the platform's number and text,
/// and log one record at Error: "%s Failed with error description: %s" with the name of the call and the text. Nothing
/// is retried.
///
///     std::unique_ptr<LumUtils::ILumError> error;
///     if (LibLumNetworkingWinUtils::SetTimeoutForRequest(logger, request, 30, error)) {
///         // Connecting takes no longer than 30 s.
///     }
namespace LibLumNetworkingWinUtils {

/// The platform's text for the calling thread's last error, which goes to `codeOut`; "Unknown error code " and the
/// number if the platform has none. Call it directly after the failure, before any other platform call.
std::string GetWinHttpErrorDescription(DWORD& codeOut);

/// Puts an error with the given code, and the last error as its cause, into `errorOut` and logs it for the given source
/// place.
void ReportWinHttpError(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, int code, const char* apiName,
                        std::unique_ptr<LumUtils::ILumError>& errorOut, const char* file, const char* function,
                        unsigned int line);

/// Bounds connecting, in seconds; the other time-outs keep the platform's defaults. False with code 12 on failure.
bool SetTimeoutForRequest(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, HINTERNET request,
                          int timeoutSeconds, std::unique_ptr<LumUtils::ILumError>& errorOut);

/// Follows every redirect, also from https to http, or none. False with code 12 on failure.
bool SetShouldFollowRedirectsForRequest(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger,
                                        HINTERNET request, bool followRedirects,
                                        std::unique_ptr<LumUtils::ILumError>& errorOut);

/// Reads the status code of the response and reports nothing: false with the last error set on failure.
bool QueryHttpStatusCode(HINTERNET request, DWORD& statusOut);

/// The status code of the response; 0 with code 13 on failure.
std::int32_t GetHttpStatusCode(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, HINTERNET request,
                               std::unique_ptr<LumUtils::ILumError>& errorOut);

/// The response's header fields, names and values trimmed; UTF-8. Of a name that occurs twice the last value is kept.
/// An empty map with code 13 on failure, and without an error if the platform gives headers that are not valid UTF-16.
std::map<std::string, std::string> GetResponseHeaders(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger,
                                                      HINTERNET request,
                                                      std::unique_ptr<LumUtils::ILumError>& errorOut);

/// As GetResponseHeaders, but puts the fields into the response, as lists of one value each. False on failure.
bool ReadResponseHeaders(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, HINTERNET request,
                         HttpResponse& response, std::unique_ptr<LumUtils::ILumError>& errorOut);

} // namespace LibLumNetworkingWinUtils

} // namespace LumNetworking
