#pragma once

#include "soak/networking/LineChart.h"
#include "soak/networking/ProcessWatch.h"
#include "soak/networking/SoakLoad.h"
#include "soak/networking/SoakLogger.h"
#include "support/FakeManagedHost.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace LumTests {

/// Requests of both kinds of clients against a hostile server, and what they leave behind.
class NetworkingSoak {
public:
    struct Settings {
        std::chrono::seconds duration{0};
        std::uint64_t seed = 0;
        /// Where the picture goes, if anywhere.
        std::string picture;
    };

    /// Throws if the program was not started by lum_test_server.
    explicit NetworkingSoak(Settings newSettings);

    /// Whether all went as it should; prints a table.
    bool Run();

private:
    void RunRound(std::chrono::milliseconds duration);
    bool IsAtRest(const ProcessSample& sample) const;
    void WaitForRest() const;
    void Report();
    std::string AskServer(const std::string& path);
    void PrintFaults();
    void PrintResources() const;
    void Draw() const;
    bool Holds(bool condition, const char* what);
    void Judge();
    SoakLoad::Settings DirectSettings();
    SoakLoad::Settings ProxiedSettings();
    SoakLoad::Target TargetOf(std::uint64_t number, Dice& dice, bool followsRedirects) const;
    FakeResponse Answer(const FakeRequest& request) const;

    const Settings settings;
    const std::shared_ptr<SoakLogger> logger = std::make_shared<SoakLogger>(SoakLoad::kSecret);
    FakeManagedHost host;
    const std::shared_ptr<FakeSocksClient> proxy = std::make_shared<FakeSocksClient>();
    const std::vector<std::uint16_t> ports;
    FaultRun faults;
    std::unique_ptr<SoakLoad> direct;
    std::unique_ptr<SoakLoad> proxied;

    ProcessSample start;
    /// Of the same caches as at the end: after the first round.
    ProcessSample warm;
    ProcessSample end;
    std::vector<ProcessSample> samples;
    bool isGood = true;
};

} // namespace LumTests
