#include "LoadTally.h"

namespace LumBench {

namespace {

constexpr long kStatusOk = 200;

} // namespace

void LoadTally::Count(long status, std::size_t receivedSize)
{
    if (status != kStatusOk || receivedSize != bodySize) {
        CountFailure();
        return;
    }
    requests.fetch_add(1, std::memory_order_relaxed);
}

void LoadTally::CountFailure()
{
    requests.fetch_add(1, std::memory_order_relaxed);
    failures.fetch_add(1, std::memory_order_relaxed);
}

} // namespace LumBench
