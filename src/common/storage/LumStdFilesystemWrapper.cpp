#include "common/storage/LumStdFilesystemWrapper.h"

#include "platform/LumRuntime.h"

#include <filesystem>
#include <system_error>

namespace LumStorage {

namespace {

std::filesystem::path standardPath(const std::string& path)
{
    if (path.find('\0') != std::string::npos) {
        throw std::filesystem::filesystem_error("a path with a NUL", path,
                                                std::make_error_code(std::errc::invalid_argument));
    }
    return LumPlatform::StreamPath(path);
}

} // namespace

bool LumStdFilesystemWrapper::exists(const std::string& path)
{
    return std::filesystem::exists(standardPath(path));
}

bool LumStdFilesystemWrapper::isDirectory(const std::string& path)
{
    return std::filesystem::is_directory(standardPath(path));
}

} // namespace LumStorage
