#include "fuzz/AnswerSource.h"

#include "PlatformQuirks.h"
#include "support/ProcessResources.h"
#include "support/TestServers.h"

#include <chrono>
#include <thread>

namespace LumFuzz {

// The scripted server answers for itself only.
const bool AnswerSource::kIsProxy = false;

std::string AnswerSource::UrlOf(std::string_view answer)
{
    return LumTests::TestServers::scripted("/raw?bytes=" + LumTests::TestServers::queryValue(std::string(answer)));
}

/// Hardly more handles than after the first request, which made those that the platform keeps. So a few that are left
/// open show only when requests are repeated, as the seeds' replay does.
bool AnswerSource::IsForgottenSoon()
{
    using Clock = std::chrono::steady_clock;
    static const std::size_t kUsual = LumTests::openDescriptorCount() + LumTests::Quirks::kDescriptorSlack;
    const Clock::time_point end = Clock::now() + std::chrono::seconds(10);
    while (LumTests::openDescriptorCount() > kUsual) {
        if (Clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

} // namespace LumFuzz
