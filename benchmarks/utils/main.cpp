#include "Cases.h"
#include "Stopwatch.h"

#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

using namespace LumBench;

void run(const BenchOptions& options)
{
    const std::string missing = LUM_MISSING_PEERS;
    if (!missing.empty()) {
        std::cerr << "not there when this was built, and left out: " << missing.substr(0, missing.size() - 2) << '\n';
    }
    StayOnOneCore();
    BenchReport report("utils");
    MeasureBase64(options, report);
    MeasureText(options, report);
    MeasureUrls(options, report);
    MeasureUuid(options, report);
    MeasureWipe(options, report);
    std::cout
        << "One core; the best of nine rounds in which all take turns. The library returns new strings; its peers\n"
           "write into room that is there, where they can. Speeds count the bytes, or the UTF-8, on either side\n"
           "of a conversion. A URL's components hold its parameters one by one and decoded; the peers with parameters\n"
           "do that work too. A ratio above 1 means that ours is better.\n\n";
    report.PrintTable(std::cout);
    report.WriteFiles(options.outputFolder);
    std::cout << "written: " << (options.outputFolder / "utils.json").string() << " and utils.svg\n";
}

} // namespace

int main(int count, char** arguments)
{
    try {
        run(ParseBenchOptions(count, arguments));
        return EXIT_SUCCESS;
    } catch (const std::exception& exception) {
        std::cerr << "lum_bench_utils: " << exception.what() << '\n';
        return EXIT_FAILURE;
    }
}
