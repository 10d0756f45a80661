#pragma once

#include "common/storage/LumFileManager.h"
#include "support/BenchOptions.h"
#include "support/BenchReport.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace LumBench {

/// The file manager's whole-file operations beside the system's own calls, the standard streams and cp. The files are
/// in memory, as a disk's time would hide the library's, but for copies: how the file system makes room is what they
/// cost.
class StorageBenchmark {
public:
    /// Files that are copied are made in the disk's folder, all others in the memory's.
    StorageBenchmark(BenchOptions newOptions, std::filesystem::path newMemory, std::filesystem::path newDisk);

    BenchReport Run();

private:
    /// One way of doing what is measured.
    struct Way {
        std::string name;
        std::function<void()> run;

        /// What is added to its time, in microseconds, before ours is compared with it.
        double allowance = 0;

        /// The ratio that ours must reach beside it.
        std::optional<double> goal = std::nullopt;
    };

    /// A case: ours, and its peers.
    struct Case {
        std::string name;
        std::size_t size = 0;
        std::function<void()> ours;
        std::vector<Way> peers;
    };

    std::vector<Case> CasesOf(std::size_t size);
    Case ReadCase(std::size_t size);
    Case WriteCase(std::size_t size);
    Case LockedReadCase(std::size_t size);
    Case LockedWriteCase(std::size_t size);
    Case CopyCase(std::size_t size);
    void Measure(const Case& measured, BenchReport& report) const;

    std::string PathOf(const std::string& name) const { return (memory / name).string(); }
    std::string DiskPathOf(const std::string& name) const { return (disk / name).string(); }

    const BenchOptions options;
    const std::filesystem::path memory;
    const std::filesystem::path disk;
    LumStorage::LumFileManager files{nullptr};
    std::string content;
};

} // namespace LumBench
