#pragma once

#include <cstddef>
#include <string>

namespace LumBench {

/// What the library's file operations are measured beside. Each throws std::system_error if it fails.
namespace RawFiles {

/// open, fstat, read into a vector of bytes, as the library's callers get it, close.
void ReadVector(const std::string& path);

/// The same into memory that nobody has filled before.
void ReadBare(const std::string& path);

/// open, write, close.
void Write(const std::string& path, const std::string& content);

/// The same with the calls that share modes, and a lock, take besides.
void ReadShared(const std::string& path);
void WriteShared(const std::string& path, const std::string& content);
void WriteLocked(const std::string& path, const std::string& content);

/// A standard stream's whole buffer into another's.
void StreamRead(const std::string& path);
void StreamWrite(const std::string& path, const std::string& content);
void StreamCopy(const std::string& source, const std::string& destination);

/// The command cp.
void CommandCopy(const std::string& source, const std::string& destination);

} // namespace RawFiles

} // namespace LumBench
