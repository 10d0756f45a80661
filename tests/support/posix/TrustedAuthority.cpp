#include "support/TrustedAuthority.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include <curl/curl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace LumTests {

namespace {

void require(bool succeeded, const char* what)
{
    if (!succeeded) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

/// Writes a file with the certificates of both and returns its name.
std::string joinFiles(const std::string& first, const std::string& second)
{
    std::string name = (std::filesystem::temp_directory_path() / "lum-store-XXXXXX").string();
    const int descriptor = mkstemp(name.data());
    require(descriptor >= 0, "mkstemp");
    close(descriptor);
    std::ofstream joined(name, std::ios::binary);
    joined << std::ifstream(first, std::ios::binary).rdbuf() << std::ifstream(second, std::ios::binary).rdbuf();
    return name;
}

} // namespace

struct TrustedAuthority::System {};

TrustedAuthority::TrustedAuthority(const std::string& certificateFile)
{
    const std::string store = curl_version_info(CURLVERSION_NOW)->cainfo;
    const std::string joined = joinFiles(store, certificateFile);
    const bool isRoot = geteuid() == 0;
    require(unshare(isRoot ? CLONE_NEWNS : CLONE_NEWUSER | CLONE_NEWNS) == 0, "unshare");
    require(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "mount private");
    const bool isMounted = mount(joined.c_str(), store.c_str(), nullptr, MS_BIND, nullptr) == 0;
    unlink(joined.c_str());
    require(isMounted, "mount the store");
}

TrustedAuthority::~TrustedAuthority() = default;

} // namespace LumTests
