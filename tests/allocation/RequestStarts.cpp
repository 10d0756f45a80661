#include "allocation/RequestStarts.h"

#include "support/PlainRequest.h"
#include "support/TestServers.h"
#include "support/WithMemory.h"

#include <map>
#include <vector>

namespace LumTests::RequestStarts {

using namespace LumNetworking;
using Transaction = Scenario::Transaction;

namespace {

using Headers = std::map<std::string, std::string>;

const Headers kHeaders = {{"X-Name", "a value that is too long for a short string"}, {"Accept", "text/plain"}};

constexpr int kConnectSeconds = 30;

UrlComponents parsed(const std::string& url)
{
    UrlComponents components;
    ParseUrl(url, components);
    return components;
}

class DescribedRequest : public ILumUrlRequest {
public:
    explicit DescribedRequest(const std::string& address) : url(parsed(address)) {}

    const UrlComponents& GetUrlComponents() override { return url; }
    HttpMethod GetMethod() override { return HttpMethod::Patch; }
    const Headers& GetHeaders() override { return kHeaders; }
    const std::vector<std::uint8_t>& GetBody() override { return body; }

private:
    const UrlComponents url;
    const std::vector<std::uint8_t> body = std::vector<std::uint8_t>(kBodySize, 'b');
};

/// An answer that the scripted server keeps back for as long as this lives.
class StalledAnswer {
public:
    StalledAnswer() = default;
    ~StalledAnswer() { requestPlainly(TestServers::scriptedPort(), "/release?key=" + key); }
    StalledAnswer(const StalledAnswer&) = delete;
    StalledAnswer& operator=(const StalledAnswer&) = delete;

    Transaction RequestAndCancel(ILumAsynchronousHttpClient& client, const HttpCompletion& completion) const
    {
        const WithoutThatMemory asTheTestWantsIt;
        return start(client, completion);
    }

private:
    /// Only the request is to lack it.
    const WithMemory withMemory;
    const std::string key = TestServers::newKey();
    const Scenario::Start start = cancelled(TestServers::scripted("/stall?key=" + key));
};

} // namespace

Scenario::Start get(const std::string& url)
{
    return [url](ILumAsynchronousHttpClient& client, const HttpCompletion& completion) {
        return client.Get(url, kHeaders, completion, true, kConnectSeconds);
    };
}

Scenario::Start getParsed(const std::string& url)
{
    return [url = parsed(url)](ILumAsynchronousHttpClient& client, const HttpCompletion& completion) {
        return client.Get(url, kHeaders, completion, true, kConnectSeconds);
    };
}

Scenario::Start remove(const std::string& url)
{
    return [url](ILumAsynchronousHttpClient& client, const HttpCompletion& completion) {
        return client.Delete(url, kHeaders, completion, true, kConnectSeconds);
    };
}

Scenario::Start upload(WithBody start, const std::string& url)
{
    return [start, url, body = std::string(kBodySize, 'b')](ILumAsynchronousHttpClient& client,
                                                            const HttpCompletion& completion) {
        return (client.*start)(url, kHeaders, body, completion, true, kConnectSeconds);
    };
}

Scenario::Start send(const std::string& url)
{
    const auto request = std::make_shared<DescribedRequest>(url);
    return [request](ILumAsynchronousHttpClient& client, const HttpCompletion& completion) {
        return client.Send(request, completion, true, kConnectSeconds);
    };
}

Scenario::Start cancelled(const std::string& url)
{
    return [start = get(url)](ILumAsynchronousHttpClient& client, const HttpCompletion& completion) {
        Transaction transaction = start(client, completion);
        if (transaction) {
            transaction->Cancel();
        }
        return transaction;
    };
}

Scenario::Start cancelledBeforeItsAnswer()
{
    return [](ILumAsynchronousHttpClient& client, const HttpCompletion& completion) {
        const StalledAnswer answer;
        return answer.RequestAndCancel(client, completion);
    };
}

} // namespace LumTests::RequestStarts
