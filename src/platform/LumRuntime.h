#pragma once

#include <optional>
#include <string>

/// The narrow calls of the runtime that the library makes, under one name on every system. Each is a function of its
/// own, so that a test can be linked with others in its place.
///
///     if (LumPlatform::Stat("C:\\data\\state.bin") != 0 && errno == ENOENT) { ... }
///
/// Paths are bytes that go to the runtime as they are, up to the first NUL. On Windows it reads them in the process's
/// code page; on POSIX a backslash is a separator as a slash is. The calls may be made on any thread. Those that return
/// an int return 0, or -1 with errno saying why. A path that leads through a file, or is too long, leads nowhere:
/// ENOENT.

namespace LumPlatform {

/// Whether something is there: a file of any kind, or a directory. Times and sizes are 64 bits wide, so a file that is
/// larger than 2 GiB, or was written after 2038, is found. ENOENT: there is nothing; EACCES: it may not be looked at.
int Stat(const std::string& path);

/// Deletes a file, never a directory. EACCES: somebody has it open.
int Remove(const std::string& path);

/// Gives a file or directory another name, a file also on another file system. EEXIST: the new name is taken; what
/// bears it stays as it is, unless it is the same file, which is a success that changes nothing. EACCES: somebody has
/// the file open.
int Rename(const std::string& oldPath, const std::string& newPath);

/// Makes one directory. EEXIST: the name is taken, by a directory or by anything else.
int MakeDirectory(const std::string& path);

/// The path as the standard streams take it: on Windows unchanged, on POSIX with slashes for its backslashes.
std::string StreamPath(const std::string& path);

/// The value of an environment variable, or nothing if there is no such variable. An empty value is a value, except on
/// Windows, where an empty variable does not exist. Not to be called while another thread changes the environment.
std::optional<std::string> ReadEnvironment(const std::string& name);

} // namespace LumPlatform
