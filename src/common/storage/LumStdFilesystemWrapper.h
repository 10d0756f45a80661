#pragma once

#include "common/storage/ILumFilesystemWrapper.h"

namespace LumStorage {

/// The standard filesystem library as the file manager's filesystem wrapper.
///
///     LumStorage::LumFileManager files(logger, std::make_shared<LumStorage::LumStdFilesystemWrapper>());
///     if (files.isDirectory("C:\\Temp")) { ... }
///
/// Links are followed. The path is taken in the narrow encoding of std::filesystem::path; both separators work on every
/// system. A path that is not there, or whose folder is not, gives false; a path that cannot be looked at throws
/// std::filesystem::filesystem_error, and so does one that holds a NUL, which would be taken for a shorter path.
///
/// It has no state: any number of threads may use one.
class LumStdFilesystemWrapper : public ILumFilesystemWrapper {
public:
    bool exists(const std::string& path) override;
    bool isDirectory(const std::string& path) override;
};

} // namespace LumStorage
