#include "common/storage/LumFileManager.h"
#include "common/storage/LumStdFilesystemWrapper.h"
#include "common/storage/LumStorageError.h"

#include <iostream>

/// Reads a state that other programs may be writing; false if it has to be tried again later.
bool readState(const std::string& path, std::vector<char>& state)
{
    LumStorage::LumFileManager files(nullptr, std::make_shared<LumStorage::LumStdFilesystemWrapper>());
    std::shared_ptr<LumUtils::ILumError> error;
    state = files.readFileContentWithLock(path, error);
    if (!error) {
        return true; // an empty file gives an empty state
    }
    std::cerr << error->getDescription() << '\n';
    return error->getCode() != LumStorage::LumStorageErrorCode::kLockFailed &&
           error->getCode() != LumStorage::LumStorageErrorCode::kOpenFailed;
}
