#include "support/ProcessorFlags.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace LumTests {

std::set<std::string> processorFlags()
{
    std::ifstream file("/proc/cpuinfo");
    if (!file) {
        throw std::runtime_error("the system does not describe its processors");
    }
    std::set<std::string> flags;
    for (std::string line; flags.empty() && std::getline(file, line);) {
        if (line.rfind("flags", 0) == 0) {
            std::istringstream words(line.substr(line.find(':') + 1));
            for (std::string word; words >> word;) {
                flags.insert(word);
            }
        }
    }
    return flags;
}

} // namespace LumTests
