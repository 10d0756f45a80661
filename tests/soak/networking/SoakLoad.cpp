#include "soak/networking/SoakLoad.h"

#include "common/networking/ILumUrlRequest.h"
#include "support/RequestRecorder.h"

#include <chrono>
#include <stdexcept>

namespace LumTests {

using LumNetworking::HttpRequestResult;
using LumNetworking::HttpResponse;

namespace {

using std::chrono::milliseconds;

constexpr std::size_t kClients = 8;
constexpr int kStarters = 2;

/// Completions, in so many: one starts a request, one takes its time, one throws, one replaces a client.
constexpr std::uint64_t kFollowUps = 3;
constexpr std::uint64_t kSlowOnes = 50;
constexpr std::uint64_t kThrowing = 300;
constexpr std::uint64_t kReplacing = 100;

/// Of the requests one in so many is dropped at once, cannot be parsed or cannot be sent.
constexpr std::uint64_t kDropped = 5;
constexpr std::uint64_t kWithoutUrl = 300;
constexpr std::uint64_t kUnsendable = 200;

constexpr std::chrono::microseconds kMeddlingPause{300};

constexpr unsigned int kUploadBits = 15;

/// Another sequence than the one from which the request's plan is made.
std::uint64_t choicesOf(std::uint64_t seed, std::uint64_t number)
{
    return (seed + number) * 0x9E3779B97F4A7C15U;
}

class DescribedRequest : public LumNetworking::ILumUrlRequest {
public:
    const LumNetworking::UrlComponents& GetUrlComponents() override { return url; }
    LumNetworking::HttpMethod GetMethod() override { return method; }
    const std::map<std::string, std::string>& GetHeaders() override { return headers; }
    const std::vector<std::uint8_t>& GetBody() override { return body; }

    LumNetworking::UrlComponents url;
    LumNetworking::HttpMethod method = LumNetworking::HttpMethod::Get;
    std::map<std::string, std::string> headers;
    std::vector<std::uint8_t> body;
};

/// A request of any method; none if the URL is none.
std::shared_ptr<DescribedRequest> describedRequest(const std::string& url,
                                                   const std::map<std::string, std::string>& headers,
                                                   const std::string& body, Dice& dice)
{
    constexpr std::uint64_t kMethods = 5;
    auto request = std::make_shared<DescribedRequest>();
    if (LumNetworking::ParseUrl(url, request->url) != LumNetworking::UrlParseStatus::Parsed) {
        return nullptr;
    }
    request->method = static_cast<LumNetworking::HttpMethod>(dice.Below(kMethods));
    request->headers = headers;
    request->body.assign(body.begin(), body.end());
    return request;
}

} // namespace

SoakLoad::SoakLoad(Settings newSettings) : settings(std::move(newSettings)), slots(2 * settings.inFlight) {}

SoakLoad::~SoakLoad()
{
    End();
}

void SoakLoad::Begin()
{
    for (std::size_t index = 0; index < kClients; ++index) {
        clients.push_back(settings.makeClient());
    }
    isOver = false;
    for (int index = 0; index < kStarters; ++index) {
        threads.emplace_back([this] { KeepStarting(); });
    }
    threads.emplace_back([this] { Meddle(); });
}

void SoakLoad::End()
{
    isOver = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    threads.clear();
    waitUntil([this] { return ledger.InFlight() == 0; }, std::chrono::seconds(30));
    for (Slot& slot : slots) {
        slot.transaction.reset();
    }
    clients.clear();
}

void SoakLoad::KeepStarting()
{
    while (!isOver) {
        if (ledger.InFlight() < settings.inFlight) {
            StartOne();
        } else {
            std::this_thread::sleep_for(milliseconds(1));
        }
    }
}

/// Cancels requests and drops transactions, whatever they are at.
void SoakLoad::Meddle()
{
    Dice dice(~settings.seed);
    // However long the system lets it sleep.
    for (auto next = std::chrono::steady_clock::now(); !isOver; next += kMeddlingPause) {
        std::this_thread::sleep_until(next);
        Slot& slot = slots[dice.SizeBelow(slots.size())];
        Transaction transaction;
        {
            const std::lock_guard<std::mutex> lock(slot.mutex);
            transaction = slot.transaction;
            if (dice.OneIn(2)) {
                slot.transaction.reset();
            }
        }
        if (transaction && dice.OneIn(2)) {
            transaction->Cancel();
        }
    }
}

void SoakLoad::StartOne()
{
    const std::uint64_t number = ++lastNumber;
    Dice dice(choicesOf(settings.seed, number));
    const bool followsRedirects = !dice.OneIn(4);
    const Request request = Describe(number, dice, followsRedirects);
    const auto entry =
        std::make_shared<RequestLedger::Entry>(ledger, request.target.expected, settings.mayLackResponse);
    Transaction transaction = Start(
        request, dice,
        [this, entry, number](HttpRequestResult result, std::unique_ptr<HttpResponse> response,
                              std::unique_ptr<LumUtils::ILumError> error, const Transaction& completed) {
            entry->OnCompleted(result, response.get(), error.get(), completed.get());
            AfterCompletion(number, completed);
        },
        followsRedirects);
    entry->OnStarted(transaction != nullptr);
    if (!dice.OneIn(kDropped)) {
        Keep(number, std::move(transaction));
    }
}

SoakLoad::Request SoakLoad::Describe(std::uint64_t number, Dice& dice, bool followsRedirects) const
{
    Request request = {settings.targetOf(number, dice, followsRedirects), {{"X-Ticket", kSecret}}, kSecret};
    FaultPlan& expected = request.target.expected;
    if (dice.OneIn(kUnsendable)) {
        request.headers["X-Unsendable"] = std::string(kSecret) + "\r\nX-Injected: yes";
        if (settings.failureOfHeader) {
            expected.verdict = FaultPlan::Verdict::Broken;
            expected.failures = {*settings.failureOfHeader};
        }
    }
    if (dice.OneIn(kWithoutUrl)) {
        request.target.url = "no url";
        expected.isRefused = true;
    }
    request.body += std::string(dice.Size(kUploadBits), 'u');
    return request;
}

SoakLoad::Transaction SoakLoad::Start(const Request& request, Dice& dice,
                                      const LumNetworking::HttpCompletion& completion, bool followsRedirects)
{
    const auto& [target, headers, body] = request;
    const std::string& url = target.url;
    const std::shared_ptr<Client> client = PickClient(dice);
    constexpr int kTimeout = 30;
    switch (dice.Below(7)) {
    case 0:
        return client->Post(url, headers, body, completion, followsRedirects, kTimeout);
    case 1:
        return client->Put(url, headers, body, completion, followsRedirects, kTimeout);
    case 2:
        return client->Patch(url, headers, body, completion, followsRedirects, kTimeout);
    case 3:
        return client->Delete(url, headers, completion, followsRedirects, kTimeout);
    case 4:
        return client->Send(describedRequest(url, headers, body, dice), completion, followsRedirects, kTimeout);
    default:
        return client->Get(url, headers, completion, followsRedirects, kTimeout);
    }
}

/// What hosts do in completions; it may throw.
void SoakLoad::AfterCompletion(std::uint64_t number, const Transaction& transaction)
{
    Dice dice(~choicesOf(settings.seed, number));
    if (transaction && dice.OneIn(4)) {
        transaction->Cancel();
    }
    if (dice.OneIn(kSlowOnes)) {
        std::this_thread::sleep_for(milliseconds(dice.Below(5)));
    }
    if (isOver) {
        return;
    }
    if (dice.OneIn(kReplacing)) {
        ReplaceClient(dice);
    }
    if (dice.OneIn(kFollowUps) && ledger.InFlight() <= settings.inFlight) {
        StartOne();
    }
    if (dice.OneIn(kThrowing)) {
        throw std::runtime_error("a completion throws");
    }
}

void SoakLoad::Keep(std::uint64_t number, Transaction transaction)
{
    Slot& slot = slots[static_cast<std::size_t>(number % slots.size())];
    const std::lock_guard<std::mutex> lock(slot.mutex);
    // The one before is let go of without the lock.
    slot.transaction.swap(transaction);
}

std::shared_ptr<SoakLoad::Client> SoakLoad::PickClient(Dice& dice)
{
    const std::lock_guard<std::mutex> lock(clientsMutex);
    return clients[dice.SizeBelow(clients.size())];
}

/// The requests of the client before go on without it.
void SoakLoad::ReplaceClient(Dice& dice)
{
    std::shared_ptr<Client> client = settings.makeClient();
    const std::lock_guard<std::mutex> lock(clientsMutex);
    clients[dice.SizeBelow(clients.size())].swap(client);
}

} // namespace LumTests
