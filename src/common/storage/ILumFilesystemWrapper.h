#pragma once

#include <string>

namespace LumStorage {

/// What LumFileManager asks of a file system when it is to tell whether a path exists and whether it is a directory. A
/// host gives it one of its own, or LumStdFilesystemWrapper, or none.
///
///     class NothingThere : public LumStorage::ILumFilesystemWrapper {
///         bool exists(const std::string&) override { return false; }
///         bool isDirectory(const std::string&) override { return false; }
///     };
///
/// Both questions take the path as the file manager's caller gave it, come on that caller's thread, and may throw a
/// std::filesystem::filesystem_error or anything else: the file manager catches it and logs its text. A wrapper that is
/// shared by threads must accept concurrent calls.
///
/// The order of the operations is part of the binary interface.
class ILumFilesystemWrapper {
public:
    virtual ~ILumFilesystemWrapper() = default;

    virtual bool exists(const std::string& path) = 0;
    virtual bool isDirectory(const std::string& path) = 0;
};

} // namespace LumStorage
