#include "StorageBenchmark.h"
#include "support/InterruptWatch.h"
#include "support/TemporaryFolder.h"

#include <cstdlib>
#include <filesystem>
#include <iostream>

#include <unistd.h>

namespace {

using namespace LumBench;
using LumLocalServer::InterruptWatch;
using LumLocalServer::TemporaryFolder;

/// A call that waits must not keep the program for ever.
constexpr unsigned int kLimitSeconds = 600;

/// Has temporary folders made where no disk takes part, if there is such a place.
void preferMemory()
{
    constexpr const char* kMemory = "/dev/shm";
    constexpr std::uintmax_t kRoom = std::uintmax_t{256} << 20U;
    std::error_code error;
    const std::filesystem::space_info space = std::filesystem::space(kMemory, error);
    if (!error && space.available > kRoom && access(kMemory, W_OK) == 0) {
        setenv("TMPDIR", kMemory, 1);
    }
}

void run(const BenchOptions& options)
{
    LumLocalServer::HoldInterrupts();
    alarm(kLimitSeconds);
    TemporaryFolder disk("lum-bench-storage");
    preferMemory();
    TemporaryFolder memory("lum-bench-storage");
    const InterruptWatch interrupts([&] {
        memory.Remove();
        disk.Remove();
    });

    StorageBenchmark benchmark(options, memory.Path(), disk.Path());
    const BenchReport report = benchmark.Run();
    std::cout << "Whole files in " << memory.Path().parent_path().string() << ", copies in "
              << disk.Path().parent_path().string()
              << "; microseconds for one operation, open and close included. A ratio above 1 means that\n"
                 "ours is better.\n\n";
    report.PrintTable(std::cout);
    report.WriteFiles(options.outputFolder);
    std::cout << "written: " << (options.outputFolder / "storage.json").string() << " and storage.svg\n";
}

} // namespace

int main(int count, char** arguments)
{
    try {
        run(ParseBenchOptions(count, arguments));
        return EXIT_SUCCESS;
    } catch (const std::exception& exception) {
        std::cerr << "lum_bench_storage: " << exception.what() << '\n';
        return EXIT_FAILURE;
    }
}
