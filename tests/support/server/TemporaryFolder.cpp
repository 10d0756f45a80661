#include "support/server/TemporaryFolder.h"

#include <cerrno>
#include <string>
#include <system_error>

#include <stdlib.h>

namespace LumTestServer {

TemporaryFolder::TemporaryFolder()
{
    std::string name = std::filesystem::temp_directory_path() / "lum-test-server-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "mkdtemp");
    }
    path = name;
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

} // namespace LumTestServer
