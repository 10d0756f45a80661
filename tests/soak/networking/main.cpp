#include "soak/networking/NetworkingSoak.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

/// Keeps thousands of requests in flight, of both kinds of clients, against a server that does all that servers must
/// not, and looks whether each is completed once and nothing is left:
///
///     lum_test_server -- lum_soak_networking SECONDS [SEED [PICTURE]]
///
/// Exits with 0 if so. The picture is an SVG file of the memory and the requests in flight over time.

namespace {

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

int run(const std::vector<std::string>& arguments)
{
    LumTests::NetworkingSoak::Settings settings;
    settings.duration = secondsOf(arguments.empty() ? "" : arguments[0]);
    settings.seed = arguments.size() > 1 ? std::stoull(arguments[1]) : std::random_device()();
    settings.picture = arguments.size() > 2 ? arguments[2] : "";
    std::cout << "seed " << settings.seed << ", " << settings.duration.count() << " s" << std::endl;
    const bool isGood = LumTests::NetworkingSoak(settings).Run();
    // The host says there what of its handles was misused.
    const bool isHostGood = testing::UnitTest::GetInstance()->ad_hoc_test_result().Passed();
    // Whoever runs it can tell by that, too, that it has come to its end.
    std::cout << (isGood && isHostGood ? "all is as it should be" : "not all is as it should be") << std::endl;
    return isGood && isHostGood ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int count, char** words)
{
    try {
        return run(std::vector<std::string>(words + 1, words + count));
    } catch (const std::exception& failure) {
        std::cerr << "lum_soak_networking: " << failure.what() << '\n';
        return EXIT_FAILURE;
    }
}
