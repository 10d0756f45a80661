#include "soak/networking/HostileServer.h"
#include "soak/networking/NetworkingSoak.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

/// Keeps thousands of requests in flight, of both kinds of clients, against a server that does all that servers must
/// not, and looks whether each is completed once and nothing is left:
///
///     lum_soak_networking SECONDS [SEED [PICTURE]]
///
/// Exits with 0 if so. The picture is an SVG file of the memory and the requests in flight over time.

namespace {

constexpr const char* kServer = "server";
constexpr long kLongest = 99999;

std::chrono::seconds secondsOf(const std::string& text)
{
    std::size_t end = 0;
    const long seconds = text.empty() ? 0 : std::stol(text, &end);
    if (end != text.size() || seconds <= 0 || seconds > kLongest) {
        throw std::invalid_argument("lum_soak_networking SECONDS [SEED [PICTURE]], from 1 to " +
                                    std::to_string(kLongest) + " seconds");
    }
    return std::chrono::seconds(seconds);
}

/// Thousands of connections must fit.
void raiseDescriptorLimit()
{
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

/// server SEED: what this program starts itself with.
int serve(std::uint64_t seed)
{
    LumTests::HostileServer server(seed);
    for (const std::uint16_t port : server.Ports()) {
        std::cout << port << ' ';
    }
    std::cout << std::endl;
    server.Serve(STDIN_FILENO);
    for (const auto& [name, count] : server.Faults()) {
        std::cout << count << ' ' << name << '\n';
    }
    std::cout.flush();
    return EXIT_SUCCESS;
}

int run(const std::string& program, const std::vector<std::string>& arguments)
{
    LumTests::NetworkingSoak::Settings settings;
    settings.program = program;
    settings.duration = secondsOf(arguments.empty() ? "" : arguments[0]);
    settings.seed = arguments.size() > 1 ? std::stoull(arguments[1]) : std::random_device()();
    settings.picture = arguments.size() > 2 ? arguments[2] : "";
    std::cout << "seed " << settings.seed << ", " << settings.duration.count() << " s" << std::endl;
    const bool isGood = LumTests::NetworkingSoak(settings).Run();
    // The host says there what of its handles was misused.
    const bool isHostGood = testing::UnitTest::GetInstance()->ad_hoc_test_result().Passed();
    return isGood && isHostGood ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int count, char** words)
{
    try {
        raiseDescriptorLimit();
        const std::vector<std::string> arguments(words + 1, words + count);
        if (arguments.size() == 2 && arguments.front() == kServer) {
            return serve(std::stoull(arguments[1]));
        }
        return run(words[0], arguments);
    } catch (const std::exception& failure) {
        std::cerr << "lum_soak_networking: " << failure.what() << '\n';
        return EXIT_FAILURE;
    }
}
