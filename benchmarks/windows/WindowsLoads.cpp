#include "LibraryClient.h"
#include "LoadTally.h"
#include "WinHttpLoopClient.h"
#include "WindowsLoadNames.h"
#include "support/Median.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <stdexcept>
#include <vector>

/// lum_bench_windows_loads BASE_URL WIDTH ROUNDS MILLISECONDS CASE_FILTER PEER_FILTER
///
/// runs the library and its peers against the server, in rounds of which each client has one, and prints a line "case",
/// "client" and "requests per second in the median of its rounds", separated by tabs, for each case and client.

namespace {

using namespace LumBench;
using namespace std::chrono_literals;

struct Arguments {
    std::string baseUrl;
    std::string width;
    int rounds;
    std::chrono::milliseconds duration;
    std::string caseFilter;
    std::string peerFilter;
};

struct Participant {
    std::string name;
    std::unique_ptr<LoadClient> client;
};

Arguments parseArguments(int count, char** words)
{
    constexpr int kCount = 7;
    if (count != kCount) {
        throw std::invalid_argument("BASE_URL WIDTH ROUNDS MILLISECONDS CASE_FILTER PEER_FILTER");
    }
    return {words[1], words[2], std::atoi(words[3]), std::chrono::milliseconds(std::atoi(words[4])),
            words[5], words[6]};
}

bool contains(const std::string& name, const std::string& filter)
{
    return name.find(filter) != std::string::npos;
}

std::vector<Participant> makeParticipants(const Arguments& arguments)
{
    using Sessions = WinHttpLoopClient::Sessions;
    std::vector<Participant> participants;
    participants.push_back({WindowsLoadNames::kLibrary, std::make_unique<LibraryClient>(Submission::Chained)});
    for (const Sessions sessions : {Sessions::OnePerRequest, Sessions::One}) {
        const char* const name =
            sessions == Sessions::One ? WindowsLoadNames::kOneSession : WindowsLoadNames::kSessionPerRequest;
        if (contains(name, arguments.peerFilter)) {
            participants.push_back({name, std::make_unique<WinHttpLoopClient>(sessions, arguments.baseUrl)});
        }
    }
    return participants;
}

/// Requests per second in one round.
double measureRound(const Participant& participant, const Load& load)
{
    LoadTally tally(load);
    const auto start = std::chrono::steady_clock::now();
    participant.client->Run(load, tally);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    if (tally.Failures() > 0) {
        throw std::runtime_error(participant.name + ": " + std::to_string(tally.Failures()) + " of " +
                                 std::to_string(tally.Requests()) + " requests for " + load.path + " failed");
    }
    return static_cast<double>(tally.Requests()) / elapsed.count();
}

void measureCase(const Arguments& arguments, const std::vector<Participant>& participants, const std::string& name,
                 Load load)
{
    std::vector<const Participant*> order;
    for (const Participant& participant : participants) {
        measureRound(participant, load); // warms up
        order.push_back(&participant);
    }
    load.duration = arguments.duration;
    std::cerr << name << ": " << arguments.rounds << " rounds of " << order.size() << " clients" << std::endl;
    std::map<const Participant*, std::vector<double>> rates;
    for (int round = 0; round < arguments.rounds; ++round) {
        for (const Participant* participant : order) {
            rates[participant].push_back(measureRound(*participant, load));
        }
        // The next round goes the other way: nobody is always the one after the same other.
        std::reverse(order.begin(), order.end());
    }
    for (const Participant& participant : participants) {
        std::cout << name << '\t' << participant.name << '\t' << Median(rates[&participant]) << '\n';
    }
}

void run(const Arguments& arguments)
{
    const std::vector<Participant> participants = makeParticipants(arguments);
    for (const std::size_t size : {kWindowsSmallBody, kWindowsMediumBody}) {
        for (const std::size_t concurrency : {std::size_t{1}, std::size_t{16}}) {
            const std::string name =
                arguments.width + (size == kWindowsSmallBody ? " 32 B x" : " 64 KiB x") + std::to_string(concurrency);
            if (contains(name, arguments.caseFilter)) {
                measureCase(arguments, participants, name,
                            {arguments.baseUrl, "/" + std::to_string(size), size, concurrency, 100ms});
            }
        }
    }
}

} // namespace

int main(int count, char** words)
{
    try {
        run(parseArguments(count, words));
        return EXIT_SUCCESS;
    } catch (const std::exception& exception) {
        std::cerr << "lum_bench_windows_loads: " << exception.what() << '\n';
        return EXIT_FAILURE;
    }
}
