#include "support/TestFolder.h"

#include <fstream>
#include <sstream>

namespace LumTests {

std::string TestFolder::add(const std::string& name, const std::string& content) const
{
    std::ofstream(where() / name, std::ios::binary) << content;
    return *this / name;
}

std::string TestFolder::contentOf(const std::string& name) const
{
    std::ifstream file(where() / name, std::ios::binary);
    if (!file) {
        return "(none)";
    }
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

} // namespace LumTests
