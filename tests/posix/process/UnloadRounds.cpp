#include "posix/process/UnloadRounds.h"

#include "support/ProcessResources.h"
#include "support/TestServers.h"

#include <chrono>
#include <cstddef>
#include <fstream>
#include <iostream>
#include <thread>

#include <dlfcn.h>

namespace LumTests {

namespace {

constexpr int kRounds = 3;
constexpr long kBodySize = 1234;

/// Whether the process has so many threads; one that was joined may be listed for a moment longer.
bool hasThreads(std::size_t count)
{
    for (int look = 0; look < 100 && threadCount() != count; ++look) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return threadCount() == count;
}

bool isMapped(const std::string& path)
{
    std::ifstream maps("/proc/self/maps");
    std::string line;
    while (std::getline(maps, line)) {
        if (line.find(path) != std::string::npos) {
            return true;
        }
    }
    return false;
}

bool expect(bool holds, const char* what)
{
    if (!holds) {
        std::cerr << "not so: " << what << '\n';
    }
    return holds;
}

/// Loads the plug-in, uses it and unloads it.
bool runRound(const std::string& path)
{
    void* const plugin = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!expect(plugin != nullptr, "the plug-in can be loaded")) {
        return false;
    }
    const auto fetch = reinterpret_cast<long (*)(const char*)>(dlsym(plugin, "fetch"));
    const auto start = reinterpret_cast<void (*)(const char*)>(dlsym(plugin, "start"));
    bool holds = expect(fetch(TestServers::scripted("/bytes?n=1234").c_str()) == kBodySize, "the body is fetched");
    start(TestServers::silent().c_str());
    const std::size_t threadsWhileLoaded = threadCount();
    holds = expect(dlclose(plugin) == 0, "the plug-in can be unloaded") && holds;
    holds = expect(threadCount() < threadsWhileLoaded, "the layer had threads") && holds;
    return expect(!isMapped(path), "the plug-in is really unloaded") && holds;
}

} // namespace

bool loadAndUnload(const std::string& plugin)
{
    // The first round opens what stays with the process.
    bool holds = runRound(plugin);
    const std::size_t threadsBefore = threadCount();
    const std::size_t descriptorsBefore = openDescriptorCount();
    for (int round = 1; round < kRounds; ++round) {
        holds = runRound(plugin) && holds;
    }
    holds = expect(hasThreads(threadsBefore), "no thread is left") && holds;
    return expect(openDescriptorCount() == descriptorsBefore, "no descriptor is left") && holds;
}

} // namespace LumTests
