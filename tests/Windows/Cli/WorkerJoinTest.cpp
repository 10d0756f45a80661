#include <gtest/gtest.h>

#include <future>
#include <system_error>
#include <thread>

/// Why a request lets its worker go where the worker itself is the last to hold it.

namespace {

#ifndef LUM_HAS_SANITIZER // That of threads loses count of one whose join was refused.

TEST(WorkerJoinTest, AThreadThatJoinsItselfIsRefusedAndCanBeLetGoInstead)
{
    std::promise<std::thread*> handedOver;
    std::promise<std::error_code> refusal;
    std::thread worker([&] {
        std::thread* const own = handedOver.get_future().get();
        std::error_code code;
        try {
            own->join();
        } catch (const std::system_error& error) {
            code = error.code();
        }
        own->detach();
        refusal.set_value(code);
    });
    handedOver.set_value(&worker);
    EXPECT_EQ(refusal.get_future().get(), std::errc::resource_deadlock_would_occur);
    EXPECT_FALSE(worker.joinable());
}

#endif

} // namespace
