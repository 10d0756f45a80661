#include "common/storage/LumFileManager.h"

#include "common/storage/LumStorageError.h"
#include "common/utils/LumError.h"
#include "common/utils/LumErrorNames.h"
#include "common/utils/LumLog.h"
#include "platform/LumFileError.h"
#include "platform/LumFileStream.h"
#include "platform/LumMemory.h"
#include "platform/LumRuntime.h"

#include <algorithm>
#include <any>
#include <cerrno>
#include <filesystem>
#include <ios>
#include <map>
#include <new>
#include <string_view>
#include <system_error>
#include <utility>

namespace LumStorage {

namespace {

using LumPlatform::FileStream;

constexpr char kSeparator = '\\';

/// What is read at a time: room that has just been made is still in the processor's cache when it is read into.
constexpr std::size_t kReadStep = std::size_t{1024} * 1024;

/// What is copied at a time; larger steps save nothing more.
constexpr std::size_t kCopyStep = std::size_t{128} * 1024;

/// Whether the runtime, which reads a path up to its first NUL, would take the whole path; else errno is EINVAL.
bool isWhole(const std::string& path)
{
    if (path.find('\0') == std::string::npos) {
        return true;
    }
    errno = EINVAL;
    return false;
}

bool open(FileStream& file, const std::string& path, FileStream::Mode mode)
{
    return isWhole(path) && file.open(path, mode);
}

/// Whether the runtime's call, which returns 0 for success, succeeds; else errno says why not, also if it lacks the
/// memory for its path.
template <typename Call>
bool succeeds(Call call)
{
    try {
        return call() == 0;
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return false;
    }
}

bool isThere(const std::string& path)
{
    return isWhole(path) && succeeds([&path] { return LumPlatform::Stat(path); });
}

/// Makes room for `size` bytes in the vector, if there can be as much.
bool reserve(std::vector<char>& content, std::int64_t size)
{
    if (size < 0 || static_cast<std::uint64_t>(size) > content.max_size()) {
        return false;
    }
    LumPlatform::ReserveToFill(content, static_cast<std::size_t>(size));
    return true;
}

/// Reads exactly as many bytes as the file says that it has.
bool readWhole(FileStream& file, std::vector<char>& content)
{
    const std::int64_t end = file.size();
    if (!reserve(content, end)) {
        return false;
    }
    const auto size = static_cast<std::size_t>(end);
    while (content.size() < size) {
        const std::size_t start = content.size();
        const std::size_t step = std::min(kReadStep, size - start);
        content.resize(start + step);
        if (file.read(content.data() + start, step) != static_cast<std::int64_t>(step)) {
            return false;
        }
    }
    return true;
}

/// Whether an operation succeeds. One that lacks the memory for what it moves does not.
template <typename Operation>
bool succeedsWithMemory(Operation operation)
{
    try {
        return operation();
    } catch (const std::exception&) {
        return false;
    }
}

/// Fails as a standard stream does, with the system's reason.
void writeWhole(FileStream& file, const std::string& content)
{
    if (!file.write(content.data(), content.size()) || !file.close()) {
        throw std::ios_base::failure("the content could not be written",
                                     std::error_code(errno, std::generic_category()));
    }
}

/// Moves all that the source has to the destination. As with a standard stream, moving nothing is a failure.
bool moveContent(FileStream& source, FileStream& destination)
{
    const std::unique_ptr<char[]> buffer(new char[kCopyStep]);
    std::int64_t count = 0;
    bool hasMoved = false;
    while ((count = source.read(buffer.get(), kCopyStep)) > 0) {
        if (!destination.write(buffer.get(), static_cast<std::size_t>(count))) {
            return false;
        }
        hasMoved = true;
    }
    return hasMoved && count == 0 && destination.close();
}

/// Cuts the text up to the next separator, and that separator, off `rest`.
std::string_view takeToken(std::string_view& rest)
{
    const std::size_t end = rest.find(kSeparator);
    const std::string_view token = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return token;
}

/// Whether there is something under that path, or a directory could be made; else errno says why not.
bool isThereOrMade(const std::string& path)
{
    if (isThere(path)) {
        return true;
    }
    const bool isDrive = path.back() == ':';
    return isDrive || (isWhole(path) && succeeds([&path] { return LumPlatform::MakeDirectory(path); })) ||
           errno == EEXIST;
}

using SharedErrors = std::vector<std::shared_ptr<LumUtils::ILumError>>;

/// Errors of the codes from 0 to the highest that have the number for lack of memory alone, for when there is none to
/// make another. Never destroyed: one may be needed while the process ends.
const SharedErrors& preparedErrors()
{
    static const auto& errors = *new SharedErrors([] {
        const auto number = static_cast<int>(LumPlatform::FileErrorNumber(std::errc::not_enough_memory));
        SharedErrors made;
        for (int code = LumStorageErrorCode::kNone; code <= LumStorageErrorCode::kTruncateFailed; ++code) {
            made.push_back(std::make_shared<LumUtils::LumError>(
                LumUtils::LumErrorNames::kStorageDomain, code,
                std::map<std::string, std::any>{{LumUtils::LumErrorNames::kUnderlyingErrorCode, number}}));
        }
        return made;
    }());
    return errors;
}

/// The prepared error of that code, or of 0 if it is none of the domain's. It takes no memory.
std::shared_ptr<LumUtils::ILumError> preparedError(int code)
{
    const SharedErrors& errors = preparedErrors();
    const bool isKnown = code >= 0 && static_cast<std::size_t>(code) < errors.size();
    return errors[isKnown ? static_cast<std::size_t>(code) : 0];
}

/// What a wrapper said, or the text of what it threw.
struct WrapperAnswer {
    enum class Kind { Yes, No, FilesystemError, OtherException };

    Kind kind;
    std::string text;
};

/// The answer for something thrown; without memory for the text there is none.
WrapperAnswer thrownAnswer(WrapperAnswer::Kind kind, const char* text)
{
    try {
        return {kind, text};
    } catch (const std::bad_alloc&) {
        return {kind, {}};
    }
}

template <typename Question>
WrapperAnswer askWrapper(Question question)
{
    try {
        return {question() ? WrapperAnswer::Kind::Yes : WrapperAnswer::Kind::No, {}};
    } catch (const std::filesystem::filesystem_error& failure) {
        return thrownAnswer(WrapperAnswer::Kind::FilesystemError, failure.what());
    } catch (const std::exception& failure) {
        return thrownAnswer(WrapperAnswer::Kind::OtherException, failure.what());
    } catch (...) {
        return thrownAnswer(WrapperAnswer::Kind::OtherException, "unknown exception");
    }
}

/// The formats of what is logged of each question to the wrapper.
struct ExistenceRecords {
    static constexpr const char* kFunction = "LumStorage::LumFileManager::pathExists";
    static constexpr const char* kNo = "Path does not exist: %s";
    static constexpr const char* kFilesystemError = "Filesystem error checking if path exists '%s': %s";
    static constexpr const char* kOtherException = "Exception checking if path exists '%s': %s";
};

struct DirectoryRecords {
    static constexpr const char* kFunction = "LumStorage::LumFileManager::isDirectory";
    static constexpr const char* kNo = "Path is not a directory: %s";
    static constexpr const char* kFilesystemError = "Filesystem error checking if path is directory '%s': %s";
    static constexpr const char* kOtherException = "Exception checking if path is directory '%s': %s";
};

/// Whether the wrapper says yes; every other answer is logged.
template <typename Records>
bool isYes(bool (ILumFilesystemWrapper::*question)(const std::string&),
           const std::shared_ptr<ILumFilesystemWrapper>& filesystem, const std::string& path,
           const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger)
{
    if (!filesystem) {
        LUM_TRY_LOG(logger, Error, Records::kFunction, "Filesystem wrapper not initialized");
        return false;
    }
    const WrapperAnswer answer = askWrapper([&] { return ((*filesystem).*question)(path); });
    switch (answer.kind) {
    case WrapperAnswer::Kind::Yes:
        break;
    case WrapperAnswer::Kind::No:
        LUM_TRY_LOG(logger, Info, Records::kFunction, Records::kNo, path.c_str());
        break;
    case WrapperAnswer::Kind::FilesystemError:
        LUM_TRY_LOG(logger, Error, Records::kFunction, Records::kFilesystemError, path.c_str(), answer.text.c_str());
        break;
    case WrapperAnswer::Kind::OtherException:
        LUM_TRY_LOG(logger, Error, Records::kFunction, Records::kOtherException, path.c_str(), answer.text.c_str());
        break;
    }
    return answer.kind == WrapperAnswer::Kind::Yes;
}

} // namespace

LumFileManager::LumFileManager(std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate> loggerDelegate,
                               std::shared_ptr<ILumFilesystemWrapper> wrapper)
    : logger(std::move(loggerDelegate)), filesystem(std::move(wrapper))
{
    preparedErrors();
}

LumFileManager::~LumFileManager() = default;

bool LumFileManager::doesFileExist(const std::string& path)
{
    if (isThere(path)) {
        return true;
    }
    const int reason = errno;
    if (reason == ENOENT) {
        LUM_TRY_LOG(logger, Error, "LumStorage::LumFileManager::doesFileExist", "File does not exist: %s",
                    path.c_str());
    } else if (reason == EACCES) {
        LUM_TRY_LOG(logger, Error, "LumStorage::LumFileManager::doesFileExist", "Access denied to file: %s",
                    path.c_str());
    } else {
        LUM_TRY_LOG(logger, Error, "LumStorage::LumFileManager::doesFileExist", "Error checking file existence");
    }
    return false;
}

bool LumFileManager::deleteFile(const std::string& path)
{
    if (isWhole(path) && succeeds([&path] { return LumPlatform::Remove(path); })) {
        return true;
    }
    LUM_TRY_LOG(logger, Error, "LumStorage::LumFileManager::deleteFile", "Error deleting file '%s'", path.c_str());
    return false;
}

bool LumFileManager::renameFile(const std::string& oldPath, const std::string& newPath)
{
    if (isWhole(oldPath) && isWhole(newPath) &&
        succeeds([&oldPath, &newPath] { return LumPlatform::Rename(oldPath, newPath); })) {
        return true;
    }
    LUM_TRY_LOG(logger, Error, "LumStorage::LumFileManager::renameFile", "Error renaming file from '%s' to '%s'",
                oldPath.c_str(), newPath.c_str());
    return false;
}

std::vector<char> LumFileManager::readFileContent(const std::string& path)
{
    std::vector<char> content;
    FileStream file;
    if (!open(file, path, FileStream::Mode::Read)) {
        LUM_TRY_LOG(logger, Error, "LumStorage::LumFileManager::readFileContent",
                    "Error opening file '%s' for reading.", path.c_str());
    } else if (!succeedsWithMemory([&] { return readWhole(file, content); })) {
        LUM_TRY_LOG(logger, Error, "LumStorage::LumFileManager::readFileContent", "Error reading file '%s'.",
                    path.c_str());
        content.clear();
    }
    return content;
}

bool LumFileManager::writeFileContent(const std::string& path, const std::string& content)
{
    FileStream file;
    if (!open(file, path, FileStream::Mode::WriteText)) {
        LUM_TRY_LOG(logger, Error, "LumStorage::LumFileManager::writeFileContent",
                    "Error opening file '%s' for writing.", path.c_str());
        return false;
    }
    try {
        writeWhole(file, content);
    } catch (const std::exception& failure) {
        LUM_TRY_LOG(logger, Error, "LumStorage::LumFileManager::writeFileContent",
                    "Exception occurred when writing to %s: %s", path.c_str(), failure.what());
        return false;
    }
    LUM_TRY_LOG(logger, Info, "LumStorage::LumFileManager::writeFileContent", "Successfully wrote content to file %s",
                path.c_str());
    return true;
}

bool LumFileManager::copyFile(const std::string& source, const std::string& destination)
{
    FileStream from;
    FileStream to;
    const bool isSourceOpen = open(from, source, FileStream::Mode::Read);
    const bool isDestinationOpen = open(to, destination, FileStream::Mode::WriteBinary);
    if (!isSourceOpen) {
        LUM_TRY_LOG(logger, Error, "LumStorage::LumFileManager::copyFile", "Failed to open source file %s",
                    source.c_str());
        return false;
    }
    if (!isDestinationOpen) {
        LUM_TRY_LOG(logger, Error, "LumStorage::LumFileManager::copyFile", "Failed to open destination file %s",
                    destination.c_str());
        return false;
    }
    if (!succeedsWithMemory([&] { return moveContent(from, to); })) {
        LUM_TRY_LOG(logger, Error, "LumStorage::LumFileManager::copyFile",
                    "Error occurred during file copy from %s to %s", source.c_str(), destination.c_str());
        return false;
    }
    return true;
}

std::int64_t LumFileManager::getFileSize(const std::string& path)
{
    FileStream file;
    if (!open(file, path, FileStream::Mode::Read)) {
        LUM_TRY_LOG(logger, Error, "LumStorage::LumFileManager::getFileSize", "Failed to open file %s", path.c_str());
        return -1;
    }
    const std::int64_t size = file.size();
    if (size < 0) {
        LUM_TRY_LOG(logger, Error, "LumStorage::LumFileManager::getFileSize", "Error occurred getting size for file %s",
                    path.c_str());
        return -1;
    }
    return size;
}

bool LumFileManager::createDirectoriesToFileAtPath(const std::string& filePath)
{
    try {
        const std::size_t end = filePath.rfind(kSeparator);
        if (end != std::string::npos) {
            return createDirectoriesForPath(filePath.substr(0, end));
        }
    } catch (const std::bad_alloc&) { // for the directory's path
    }
    LUM_TRY_LOG(logger, Error, "LumStorage::LumFileManager::createDirectoriesToFileAtPath", "Invalid path provided: %s",
                filePath.c_str());
    return false;
}

bool LumFileManager::createDirectoriesForPath(const std::string& directoryPath)
{
    std::string current;
    int reason = 0;
    try {
        for (std::string_view rest = directoryPath; !rest.empty() && reason == 0;) {
            const std::string_view token = takeToken(rest);
            if (token.empty()) {
                continue;
            }
            if (!current.empty() && current.back() != kSeparator) {
                current += kSeparator;
            }
            current += token;
            reason = isThereOrMade(current) ? 0 : errno;
        }
    } catch (const std::bad_alloc&) {
        reason = ENOMEM;
    }
    if (reason != 0) {
        LUM_TRY_LOG(logger, Error, "LumStorage::LumFileManager::createDirectoriesForPath",
                    "Failed to create directory at %s errorCode = %d", current.c_str(), reason);
    }
    return reason == 0;
}

bool LumFileManager::pathExists(const std::string& path)
{
    return isYes<ExistenceRecords>(&ILumFilesystemWrapper::exists, filesystem, path, logger);
}

bool LumFileManager::isDirectory(const std::string& path)
{
    return isYes<DirectoryRecords>(&ILumFilesystemWrapper::isDirectory, filesystem, path, logger);
}

void LumFileManager::setErrorAndLog(int code, unsigned int underlyingCode, const std::string& description,
                                    std::shared_ptr<LumUtils::ILumError>& errorOut)
{
    try {
        std::map<std::string, std::any> userInfo;
        userInfo[LumUtils::LumErrorNames::kUnderlyingErrorDescription] = description;
        userInfo[LumUtils::LumErrorNames::kUnderlyingErrorCode] = static_cast<int>(underlyingCode);
        errorOut = std::make_shared<LumUtils::LumError>(LumUtils::LumErrorNames::kStorageDomain, code, userInfo);
    } catch (const std::bad_alloc&) {
        errorOut = preparedError(code);
    }
    LUM_TRY_LOG_TEXT(logger, Error, "LumStorage::LumFileManager::setErrorAndLog", description);
}

} // namespace LumStorage
