#pragma once

#include "soak/networking/Dice.h"
#include "soak/networking/RequestLedger.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace LumTests {

/// Keeps many requests in flight on several clients of one kind, and does to them what hosts do: completions start
/// requests, cancel, take their time, throw and replace clients, while another thread cancels requests and drops
/// transactions.
///
/// All that is chosen for a request follows from the seed and the request's number.
class SoakLoad {
public:
    using Client = LumNetworking::ILumAsynchronousHttpClient;
    using Transaction = std::shared_ptr<LumNetworking::ILumAsynchronousTransaction>;

    /// The URL of a request, and what is to be expected of it.
    struct Target {
        std::string url;
        FaultPlan expected;
    };

    struct Settings {
        std::uint64_t seed = 0;
        std::size_t inFlight = 0;
        std::function<std::shared_ptr<Client>()> makeClient;
        std::function<Target(std::uint64_t number, Dice& dice, bool followsRedirects)> targetOf;
        /// How a request fails of which a header is none; nothing if the client passes such a header on.
        std::optional<FaultPlan::Failure> failureOfHeader;
        /// Whether a request whose transaction is dropped may succeed without response.
        bool mayLackResponse = false;
    };

    explicit SoakLoad(Settings newSettings);
    ~SoakLoad();
    SoakLoad(const SoakLoad&) = delete;
    SoakLoad& operator=(const SoakLoad&) = delete;

    /// Starts to start requests.
    void Begin();

    /// Starts no more, and waits until those in flight have ended. Then it lets go of clients and transactions.
    void End();

    const RequestLedger& Ledger() const { return ledger; }

    /// What stands in header values and bodies of the requests, and nowhere else.
    static constexpr const char* kSecret = "s3cret-of-a-request";

private:
    struct Slot {
        std::mutex mutex;
        Transaction transaction;
    };

    struct Request {
        Target target;
        std::map<std::string, std::string> headers;
        std::string body;
    };

    void KeepStarting();
    void Meddle();
    void StartOne();
    Request Describe(std::uint64_t number, Dice& dice, bool followsRedirects) const;
    Transaction Start(const Request& request, Dice& dice, const LumNetworking::HttpCompletion& completion,
                      bool followsRedirects);
    void AfterCompletion(std::uint64_t number, const Transaction& transaction);
    void Keep(std::uint64_t number, Transaction transaction);
    std::shared_ptr<Client> PickClient(Dice& dice);
    void ReplaceClient(Dice& dice);

    const Settings settings;
    RequestLedger ledger;
    std::atomic<bool> isOver{true};
    std::atomic<std::uint64_t> lastNumber{0};
    std::mutex clientsMutex;
    std::vector<std::shared_ptr<Client>> clients;
    std::vector<Slot> slots;
    std::vector<std::thread> threads;
};

} // namespace LumTests
