#include "posix/allocation/FailingRequest.h"

#include "platform/posix/winhttp/HttpHandleTable.h"
#include "support/RequestRecorder.h"
#include "support/TestServers.h"

#include <gtest/gtest.h>

#include <any>
#include <map>

namespace LumTests {

using namespace LumNetworking;
using Reach = FailingAllocations::Reach;

namespace {

using Transaction = Scenario::Transaction;
using Headers = std::map<std::string, std::string>;

constexpr int kNotEnoughMemory = 8;

const Headers kHeaders = {{"X-Name", "a value that is too long for a short string"}, {"Accept", "text/plain"}};

using StartWithBody = Transaction (ILumAsynchronousHttpClient::*)(const std::string& url, const Headers& headers,
                                                                  const std::string& body,
                                                                  const HttpCompletion& completion,
                                                                  bool followRedirects, int timeoutSeconds);

Scenario upload(const char* name, StartWithBody start, const std::string& pathAndQuery)
{
    return {name,
            [start, url = TestServers::scripted(pathAndQuery),
             body = std::string(3000, 'b')](ILumAsynchronousHttpClient& client, const HttpCompletion& completion) {
                return (client.*start)(url, kHeaders, body, completion, true, 30);
            },
            10};
}

Scenario download(const char* name, const std::string& url, std::size_t bodySize)
{
    return {name,
            [url](ILumAsynchronousHttpClient& client, const HttpCompletion& completion) {
                return client.Get(url, kHeaders, completion, true, 30);
            },
            bodySize};
}

class DescribedRequest : public ILumUrlRequest {
public:
    const UrlComponents& GetUrlComponents() override { return url; }
    HttpMethod GetMethod() override { return HttpMethod::Patch; }
    const Headers& GetHeaders() override { return kHeaders; }
    const std::vector<std::uint8_t>& GetBody() override { return body; }

    UrlComponents url;
    const std::vector<std::uint8_t> body = std::vector<std::uint8_t>(3000, 'b');
};

Scenario describedRequest()
{
    const auto request = std::make_shared<DescribedRequest>();
    ParseUrl(TestServers::scripted("/bytes?n=10&close"), request->url);
    return {"Send",
            [request](ILumAsynchronousHttpClient& client, const HttpCompletion& completion) {
                return client.Send(request, completion, true, 30);
            },
            10};
}

Scenario deletion()
{
    return {"Delete",
            [url = TestServers::scripted("/bytes?n=10")](ILumAsynchronousHttpClient& client,
                                                         const HttpCompletion& completion) {
                return client.Delete(url, kHeaders, completion, true, 30);
            },
            10};
}

Scenario cancellation()
{
    return {"Cancel",
            [url = TestServers::scripted("/bytes?n=5000")](ILumAsynchronousHttpClient& client,
                                                           const HttpCompletion& completion) {
                Transaction transaction = client.Get(url, kHeaders, completion, true, 30);
                if (transaction) {
                    transaction->Cancel();
                }
                return transaction;
            },
            5000};
}

/// The completion of a recorder that has memory, however little there is.
HttpCompletion completionWithMemory(const RequestRecorder& recorder)
{
    return [inner = recorder.Completion()](HttpRequestResult result, std::unique_ptr<HttpResponse> response,
                                           std::unique_ptr<LumUtils::ILumError> error, Transaction transaction) {
        FailingAllocations::End();
        const WithMemory withMemory;
        inner(result, std::move(response), std::move(error), std::move(transaction));
    };
}

int platformCodeOf(const LumUtils::ILumError& error)
{
    const auto found = error.getUserInfo().find("LumErrorUnderlyingErrorCode");
    return found == error.getUserInfo().end() ? -1 : std::any_cast<int>(found->second);
}

void expectFailedForMemory(const Outcome& outcome)
{
    EXPECT_EQ(outcome.response, nullptr);
    ASSERT_NE(outcome.error, nullptr);
    EXPECT_EQ(outcome.error->getDomain(), "com.corvan.clientlibs.liblumnetworking.error");
    EXPECT_EQ(platformCodeOf(*outcome.error), kNotEnoughMemory) << outcome.error->getDescription();
}

void expectOutcome(const Scenario& scenario, const Transaction& transaction, const RequestRecorder& recorder,
                   Tally& tally)
{
    recorder.WaitForRelease();
    EXPECT_EQ(recorder.CallCount(), transaction ? 1U : 0U);
    if (recorder.CallCount() == 0) {
        ++tally.refused;
        return;
    }
    const Outcome outcome = recorder.WaitForOutcome();
    switch (outcome.result) {
    case HttpRequestResult::SUCCESS:
        ++tally.succeeded;
        ASSERT_NE(outcome.response, nullptr);
        EXPECT_EQ(outcome.response->statusCode, 200);
        EXPECT_EQ(outcome.response->body.size(), scenario.bodySize) << "a success is whole";
        return;
    case HttpRequestResult::FAILED:
        ++tally.failed;
        expectFailedForMemory(outcome);
        return;
    case HttpRequestResult::CANCELLED:
        ++tally.cancelled;
        EXPECT_STREQ(scenario.name, "Cancel");
        return;
    }
}

} // namespace

std::vector<Scenario> scenarios()
{
    using Client = ILumAsynchronousHttpClient;
    const std::string byName = "http://localhost:" + std::to_string(TestServers::scriptedPort()) + "/bytes?n=10&close";
    return {
        download("Get", TestServers::scripted("/bytes?n=5000"), 5000),
        download("GetOnANewConnection", TestServers::scripted("/bytes?n=5000&close"), 5000),
        download("GetByName", byName, 10),
        download("GetALongBody", TestServers::scripted("/bytes?n=2000000"), 2000000),
        download("GetThroughRedirects", TestServers::scripted("/redirect?cookie=a%3Db&to=/bytes%3Fn%3D10"), 10),
        upload("Post", &Client::Post, "/bytes?n=10&close"),
        upload("PostWithRedirect", &Client::Post, "/redirect?status=307&to=/bytes%3Fn%3D10"),
        upload("Put", &Client::Put, "/bytes?n=10&close"),
        upload("Patch", &Client::Patch, "/bytes?n=10&close"),
        deletion(),
        describedRequest(),
        cancellation(),
    };
}

bool runFailing(const Scenario& scenario, std::size_t number, Reach reach, Tally& tally)
{
    SCOPED_TRACE("allocation " + std::to_string(number));
    const RequestRecorder recorder;
    bool hasFailed = false;
    Transaction transaction;
    {
        HttpCompletion completion = completionWithMemory(recorder);
        WinHttpClientAsync client(nullptr);
        const FailingAllocations failing(number, reach);
        EXPECT_NO_THROW(transaction = scenario.start(client, completion));
        const WithMemory withMemory;
        completion = nullptr;
        if (transaction) {
            waitUntil([&] { return recorder.CallCount() > 0; });
        }
        FailingAllocations::End();
        hasFailed = failing.HasFailed();
        expectOutcome(scenario, transaction, recorder, tally);
    }
    transaction.reset();
    EXPECT_TRUE(waitUntil([] { return LumPlatform::HttpHandleTable::Instance().Count() == 0; }))
        << "every handle is closed";
    return hasFailed;
}

int runFirstRequest(std::size_t number)
{
    const Scenario scenario = scenarios().front();
    Tally tally;
    const bool hasFailed = runFailing(scenario, number, Reach::One, tally);
    Tally next;
    runFailing(scenario, kMostAllocations, Reach::One, next);
    EXPECT_EQ(next.succeeded, 1U);
    if (testing::UnitTest::GetInstance()->ad_hoc_test_result().Failed()) {
        return 1;
    }
    return hasFailed ? 0 : kNoneFailed;
}

} // namespace LumTests
