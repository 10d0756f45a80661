#pragma once

#include "common/networking/ILumAsynchronousHttpClient.h"
#include "soak/networking/FaultPlan.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>

namespace LumTests {

/// Counts the requests of one kind of client, and what must not happen to them. From several threads at once.
class RequestLedger {
public:
    /// Keeps the books of one request; every copy of its completion holds it.
    class Entry {
    public:
        Entry(RequestLedger& ledger, FaultPlan plan, bool mayBeEmpty);

        /// Counts the request as lost if it was started and never completed.
        ~Entry();
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

        /// What the starting operation returned: whether it was started at all.
        void OnStarted(bool isStarted);

        /// To be called by the completion.
        void OnCompleted(LumNetworking::HttpRequestResult result, const LumNetworking::HttpResponse* response,
                         const LumUtils::ILumError* error,
                         const LumNetworking::ILumAsynchronousTransaction* transaction);

    private:
        bool IsAsExpected(LumNetworking::HttpRequestResult result, const LumNetworking::HttpResponse* response,
                          const LumUtils::ILumError* error,
                          const LumNetworking::ILumAsynchronousTransaction* transaction) const;
        bool IsExpectedResponse(const LumNetworking::HttpResponse* response,
                                const LumNetworking::ILumAsynchronousTransaction* transaction) const;
        bool IsExpectedFailure(const LumUtils::ILumError& error) const;

        RequestLedger& books;
        const FaultPlan expected;
        /// Whether a success without response may come of a request whose transaction was dropped.
        const bool mayLackResponse;
        std::atomic<bool> isRefused{false};
        std::atomic<int> completions{0};
    };

    std::uint64_t InFlight() const { return inFlight; }
    std::uint64_t Started() const { return started; }

    /// Whether requests succeeded, failed and were cancelled, all were completed once, and none is left.
    bool IsGood() const;

    void Print(std::ostream& output) const;

private:
    void Report(std::atomic<std::uint64_t>& count, const std::string& what, const FaultPlan& plan);

    std::atomic<std::uint64_t> inFlight{0};
    std::atomic<std::uint64_t> started{0};
    /// Of those that were started the ones that must not fail.
    std::atomic<std::uint64_t> bound{0};
    std::atomic<std::uint64_t> refused{0};
    std::atomic<std::uint64_t> succeeded{0};
    std::atomic<std::uint64_t> failed{0};
    std::atomic<std::uint64_t> cancelled{0};
    std::atomic<std::uint64_t> lost{0};
    std::atomic<std::uint64_t> repeated{0};
    std::atomic<std::uint64_t> wrong{0};
};

} // namespace LumTests
