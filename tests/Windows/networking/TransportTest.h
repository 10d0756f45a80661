#pragma once

#include "PlatformQuirks.h"
#include "Windows/networking/WinHttpClientAsync.h"
#include "support/RecordingLogger.h"
#include "support/RequestRecorder.h"
#include "support/TestServers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace LumTests {

using Headers = std::map<std::string, std::string>;
using Transaction = std::shared_ptr<LumNetworking::ILumAsynchronousTransaction>;

/// A client on real sockets and what it logs.
class TransportTest : public ::testing::Test {
protected:
    using Starter = std::function<Transaction(const LumNetworking::HttpCompletion& completion)>;

    /// Starts a request and waits until it has ended and let go of its completion, which then ran exactly once.
    Outcome Run(const Starter& start);
    Outcome Get(const std::string& url, const Headers& headers = {}, bool followRedirects = true,
                int timeoutSeconds = 30);
    Outcome Get(const LumNetworking::UrlComponents& url, const Headers& headers = {}, bool followRedirects = true,
                int timeoutSeconds = 30);

    /// What becomes of a GET that a server answers with these bytes and nothing else.
    Outcome GetRaw(const std::string& bytes);

    /// The body of a successful GET.
    std::string GetBody(const std::string& url, const Headers& headers = {});

    /// How many requests with the key the scripted server has had.
    std::size_t ArrivedCount(const std::string& key);
    bool WaitForArrival(const std::string& key);
    void Release(const std::string& key);

    const std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
    std::shared_ptr<LumNetworking::WinHttpClientAsync> client =
        std::make_shared<LumNetworking::WinHttpClientAsync>(logger);

private:
    /// Asks the scripted server for something, unnoticed by the logger.
    static std::string Ask(const std::string& pathAndQuery);
};

/// Where a failure is reported from.
struct FailurePlace {
    int code;
    const char* apiName;
    const char* function;
    unsigned int line;
};

/// The place of failures that the platform reports after the request was sent.
constexpr FailurePlace kRequestError = {13, "WINHTTP_CALLBACK_STATUS_REQUEST_ERROR",
                                        "LumNetworking::WinHttpAsyncCallback", 167};

/// Expects a failure with the platform's number, and exactly one Error record for it. Throws if there is no error.
void expectFailure(const Outcome& outcome, const RecordingLogger& logger, const FailurePlace& place, int platformCode);

/// Expects a response with the status. Throws if there is no response.
void expectSuccess(const Outcome& outcome, int status = 200);

/// The platform's number in the error's user information, or -1.
int platformCodeOf(const LumUtils::ILumError& error);

/// The value of a header field; it fails the test if the field is missing or has not exactly one value.
std::string headerOf(const Outcome& outcome, const std::string& name);

/// The lines of an echoed request's head, without their ends.
std::vector<std::string> headLines(const std::string& echoed);

/// What follows the head of an echoed request.
std::string echoedBody(const std::string& echoed);

LumNetworking::UrlComponents components(const std::string& url);

/// Whether a header's name may hold the character: tchar of RFC 9110, section 5.6.2.
bool isTokenCharacter(char character);

} // namespace LumTests
