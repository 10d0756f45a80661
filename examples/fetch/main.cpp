#include "Demo.h"
#include "FetchCommand.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>

namespace {

constexpr const char* kUsage =
    "usage: lum_fetch [URL...]\n"
    "\n"
    "Fetches the URLs, all at once, through the library, and shows what came of them and what the library logged.\n"
    "Without a URL it starts a web server of its own on loopback and fetches from that.\n"
    "\n"
    "The exit code is 0 if every URL was answered with a status below 400; without URLs, if all came out as "
    "expected.\n";

std::vector<LumFetch::FetchJob> jobsFor(int count, const char* const* urls)
{
    std::vector<LumFetch::FetchJob> jobs;
    for (int index = 0; index < count; ++index) {
        jobs.push_back({LumNetworking::HttpMethod::Get, urls[index]});
    }
    return jobs;
}

} // namespace

int main(int count, char** arguments)
{
    if (count > 1 && arguments[1][0] == '-') {
        const bool wantsHelp = std::strcmp(arguments[1], "--help") == 0 || std::strcmp(arguments[1], "-h") == 0;
        (wantsHelp ? std::cout : std::cerr) << kUsage;
        return wantsHelp ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    try {
        const bool isGood = count > 1 ? LumFetch::RunFetches(jobsFor(count - 1, arguments + 1)) : LumFetch::RunDemo();
        return isGood ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& exception) {
        std::cerr << "lum_fetch: " << exception.what() << '\n';
        return EXIT_FAILURE;
    }
}
