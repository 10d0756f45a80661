#include "platform/BlockedExchanges.h"
#include "platform/Hold.h"
#include "support/RequestRecorder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <sys/mman.h>
#include <unistd.h>

/// What the layer's own threads do.

namespace {

using namespace LumTests;

/// What a host's callback leaves on the thread that it ran on; it ends with the thread.
struct LeftOnThread {
    ~LeftOnThread()
    {
        if (end) {
            ++*count;
            end->wait();
        }
    }

    std::optional<std::shared_future<void>> end;
    std::shared_ptr<std::atomic<int>> count;
};

TEST(HttpEngineTest, WhatACallbackLeavesOnAThreadThatEndsHoldsUpNobody)
{
    Hold hold;
    const auto ending = std::make_shared<std::atomic<int>>(0);
    BlockedExchanges first([&, released = hold.Released()] {
        thread_local LeftOnThread left;
        left.end = released;
        left.count = ending;
    });
    EXPECT_TRUE(first.AllWait());
    first.End();
    EXPECT_TRUE(waitUntil([&] { return *ending > 0; }, std::chrono::seconds(30))) << "threads end that rest for long";

    BlockedExchanges second;
    EXPECT_TRUE(second.AllWait()) << "there are threads for these";
    hold.LetGo();
    second.End();
}

/// The signals that the thread blocks, as the system's list of threads has them: bit 0 is signal 1.
std::uint64_t blockedSignals(const std::filesystem::path& thread)
{
    std::ifstream status(thread / "status");
    std::string word;
    while (status >> word && word != "SigBlk:") {
    }
    std::uint64_t mask = 0;
    status >> std::hex >> mask;
    return mask;
}

bool isBlocked(std::uint64_t mask, int signal)
{
    return ((mask >> static_cast<unsigned int>(signal - 1)) & 1U) != 0;
}

TEST(HttpEngineTest, ItsThreadsTakeNoneOfTheHostsSignals)
{
    WinHttpExchange exchange(toScripted("/bytes?n=10"));
    ASSERT_TRUE(exchange.Run());
    std::size_t threads = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        const bool isOwn = thread.path().filename() == std::to_string(getpid());
        const std::uint64_t mask = blockedSignals(thread.path());
        for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGUSR1, SIGUSR2, SIGALRM, SIGCHLD, SIGPROF, SIGRTMIN + 1}) {
            EXPECT_EQ(isBlocked(mask, signal), !isOwn) << "signal " << signal << " of thread " << thread.path();
        }
        EXPECT_FALSE(isBlocked(mask, SIGSEGV)) << "a fault is the thread's own";
        threads += isOwn ? 0 : 1;
    }
    EXPECT_GE(threads, 1U);
}

/// A body in pages that can be taken away, so that reading it is fatal.
class PagedBody {
public:
    explicit PagedBody(std::size_t bodySize)
        : size(bodySize), pages(mmap(nullptr, bodySize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))
    {
    }
    ~PagedBody() { munmap(pages, size); }
    PagedBody(const PagedBody&) = delete;
    PagedBody& operator=(const PagedBody&) = delete;

    void* Data() const { return pages; }
    DWORD Size() const { return static_cast<DWORD>(size); }
    void TakeAway() const { mprotect(pages, size, PROT_NONE); }

private:
    const std::size_t size;
    void* const pages;
};

class ClosedUploadTest : public testing::TestWithParam<const char*> {};

TEST_P(ClosedUploadTest, IsNotReadAnyMore)
{
    for (int round = 0; round < 10; ++round) {
        WinHttpExchange::Settings settings = toScripted(GetParam());
        settings.verb = "PUT";
        WinHttpExchange exchange(settings);
        ASSERT_TRUE(exchange.IsOpen());
        const PagedBody body(std::size_t{256} << 20U);
        ASSERT_TRUE(WinHttpSendRequest(exchange.Request(), nullptr, 0, body.Data(), body.Size(), body.Size(), 0));
        // The upload is under way; nothing tells when, and any time will do.
        std::this_thread::sleep_for(std::chrono::milliseconds(10 + 5 * round));
        ASSERT_TRUE(WinHttpCloseHandle(exchange.Request()));
        body.TakeAway();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

INSTANTIATE_TEST_SUITE_P(Urls, ClosedUploadTest,
                         testing::Values("/checksum", "/early-redirect?to=/checksum",
                                         "/early-redirect?to=/checksum&status=308"));

} // namespace
