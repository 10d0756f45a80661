#include "support/BenchOptions.h"

#include <stdexcept>

namespace LumBench {

BenchOptions ParseBenchOptions(int count, const char* const* arguments)
{
    BenchOptions options;
    for (int index = 1; index < count; ++index) {
        const std::string name = arguments[index];
        if (name == "--quick") {
            options.isQuick = true;
            continue;
        }
        if (name != "--out" && name != "--case" && name != "--peer") {
            throw std::invalid_argument("unknown option " + name +
                                        "; known are --quick, --case TEXT, --peer TEXT and --out FOLDER");
        }
        if (++index == count) {
            throw std::invalid_argument(name + " needs a value");
        }
        const std::string value = arguments[index];
        if (name == "--out") {
            options.outputFolder = value;
        } else {
            (name == "--case" ? options.caseFilter : options.peerFilter) = value;
        }
    }
    return options;
}

} // namespace LumBench
