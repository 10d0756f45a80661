#pragma once

#include "common/storage/ILumFilesystemWrapper.h"
#include "common/utils/ILumError.h"
#include "common/utils/ILumUtilsLoggerDelegate.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace LumStorage {

/// The library's file service: whole files are read, written, copied, measured, renamed and deleted, and directories
/// are made.
///
///     LumStorage::LumFileManager files(logger); // a logger delegate, or none
///     const std::string path = files.getTempDirectoryPath() + "product\\state.json";
///     std::shared_ptr<LumUtils::ILumError> error;
///     if (files.createDirectoriesToFileAtPath(path) && files.writeFileContentWithLock(path, "{}", error)) {
///         const std::vector<char> content = files.readFileContentWithLock(path, error);
///     }
///
/// **Failures.** No operation throws, whatever fails, a logger that throws or a lack of memory included. A failure is
/// the operation's result (false, an empty vector, -1) and one log record at Error; the operations that lock also hand
/// out an error of LumStorageErrorDomain.
///
/// **Paths** are narrow texts, passed as they are to the runtime's narrow file functions. The backslash is the
/// separator that this class knows; it works on every system, and where the system itself knows the slash, that does
/// too. A path that holds a NUL is refused like a file that cannot be opened: the system would take it for a shorter
/// path.
///
/// **Nothing waits** for the other end of a FIFO: to read from one fails at once, and so does writing to one that
/// nobody reads. writeFileContentWithLock waits for the lock, and opening a file for another process that has a lease
/// on it, as long as the system lets it.
///
/// **Files that are open.** Every operation opens its file so that others may read it, and write it too, unless it
/// writes with a lock; nobody may delete or rename a file that is open. What the open of another does not allow fails
/// at once and leaves the file as it was. On Linux only the opens of this library take part in that.
///
/// **Threads.** Operations run on the caller's thread and hold no lock of their own. Several threads may use one file
/// manager if its logger and its wrapper accept concurrent calls; what becomes of one file that several of them write
/// at once is only defined for the operations that lock.
///
/// The order of the operations and of the members is part of the binary interface. A derived class may replace any
/// operation; createDirectoriesToFileAtPath calls createDirectoriesForPath so.
class LumFileManager {
public:
    /// Shares both objects for its life. Without a logger nothing is logged; without a wrapper pathExists and
    /// isDirectory fail. Throws std::bad_alloc.
    explicit LumFileManager(std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate> loggerDelegate,
                            std::shared_ptr<ILumFilesystemWrapper> wrapper = nullptr);
    virtual ~LumFileManager();

    /// Whether there is something, a directory included, under that path. When there is not, the record says so:
    /// "File does not exist: %s", "Access denied to file: %s" or "Error checking file existence".
    virtual bool doesFileExist(const std::string& path);

    /// Removes a file. A directory stays, and that is a failure; so does a file that somebody has open.
    virtual bool deleteFile(const std::string& path);

    /// Gives a file or directory another name or place. What has the new name already stays, and that is a failure; but
    /// a name for itself, or another one of the same file, is a success that changes nothing. A file that somebody has
    /// open keeps its name. A file, not a directory, can be moved to another file system: it is copied there, and then
    /// the old one is deleted.
    virtual bool renameFile(const std::string& oldPath, const std::string& newPath);

    /// The whole file, byte for byte; empty for an empty file and on failure, which only the record tells apart.
    virtual std::vector<char> readFileContent(const std::string& path);

    /// Replaces the file's content, or makes the file. The content is written as text: on Windows each line feed
    /// becomes carriage return and line feed. Success is logged at Info. On failure the file may hold a part of the
    /// content.
    virtual bool writeFileContent(const std::string& path, const std::string& content);

    /// Copies the content of a file, byte for byte, over the destination or to a new file. Both are opened first, so
    /// the destination is emptied even if the source cannot be opened, and a file that is copied onto itself is lost.
    /// Copying nothing counts as a failure: of an empty source there is an empty copy, and a record.
    virtual bool copyFile(const std::string& source, const std::string& destination);

    /// The file's size in bytes, or -1.
    virtual std::int64_t getFileSize(const std::string& path);

    /// Makes the directories that lead to a file: all that stands before the last backslash. False without a backslash.
    virtual bool createDirectoriesToFileAtPath(const std::string& filePath);

    /// Makes each directory of the chain that is missing. Leading and repeated backslashes are dropped, so a path is
    /// taken from the current directory unless it begins with a drive; a slash does not separate the chain's parts.
    /// What was made before a failure stays.
    virtual bool createDirectoriesForPath(const std::string& directoryPath);

    /// What the wrapper says. That a path does not exist is logged at Info; other failures at Error.
    virtual bool pathExists(const std::string& path);

    /// What the wrapper says. That a path is no directory is logged at Info; other failures at Error.
    virtual bool isDirectory(const std::string& path);

    /// Puts a new error of LumStorageErrorDomain into `errorOut`, with the code, the description and the underlying
    /// code (stored as an int, as user information is), and logs the description at Error. Without memory for that it
    /// is an error with the system's number for lack of memory alone (8 on Windows, ENOMEM on Linux); its code is 0 if
    /// the given one is none of the domain's.
    virtual void setErrorAndLog(int code, unsigned int underlyingCode, const std::string& description,
                                std::shared_ptr<LumUtils::ILumError>& errorOut);

    /// The whole file, read under a shared lock; a file that does not exist is made, empty. Fails at once, without
    /// waiting, while a write of these operations has the file open (code 1) or somebody holds an exclusive lock (4).
    ///
    /// `errorOut` is emptied first, so that after the call it tells an empty file from a failure: codes 1 (open),
    /// 4 (lock), 5 (read) and 8 (size). Files of 4 GiB and more are not supported. Success is logged at Info.
    ///
    /// The path's bytes are widened one by one, with their sign and with no character set: only ASCII paths name the
    /// file that other programs know under that name.
    virtual std::vector<char> readFileContentWithLock(const std::string& path,
                                                      std::shared_ptr<LumUtils::ILumError>& errorOut);

    /// Replaces the file's content, byte for byte, or makes the file; true once it is written and unlocked. Fails at
    /// once while another read or write of these operations has the file open (code 1), and waits while somebody else
    /// holds a lock. The file is emptied before the lock is taken; on failure it may hold a part of the content.
    ///
    /// `errorOut` is emptied first. Codes: 1 (open), 9 (position), 10 (truncate), 4 (lock), 6 (write, also of 4 GiB and
    /// more, which leaves the file as it was) and 7 (unlock). Success is logged at Info. The path is widened as for
    /// readFileContentWithLock.
    virtual bool writeFileContentWithLock(const std::string& path, const std::string& content,
                                          std::shared_ptr<LumUtils::ILumError>& errorOut);

    /// The directory for temporary files, ending in a backslash: the system's; if it has none, which is logged at
    /// Error, the one that the environment variable TEMP names; else, logged at Warning, "C:\temp\".
    virtual std::string getTempDirectoryPath();

private:
    std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate> logger;
    std::shared_ptr<ILumFilesystemWrapper> filesystem;
};

} // namespace LumStorage
