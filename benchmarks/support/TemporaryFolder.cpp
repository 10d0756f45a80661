#include "support/TemporaryFolder.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace LumLocalServer {

TemporaryFolder::TemporaryFolder(const std::string& prefix)
{
    std::string name = (std::filesystem::temp_directory_path() / (prefix + "-XXXXXX")).string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "mkdtemp " + name);
    }
    path = name;
}

TemporaryFolder::~TemporaryFolder()
{
    Remove();
}

void TemporaryFolder::Remove()
{
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

} // namespace LumLocalServer
