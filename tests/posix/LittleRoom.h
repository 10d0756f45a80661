#pragma once

#include <csignal>
#include <string>

#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>

namespace LumTests {

// What a process does to itself, so that it has little room for files. None of it can be undone.

/// Files and directories that fit into a little file system.
constexpr int kLittleFiles = 16;

/// Puts a file system with room for 64 KiB there, seen by this process only. Not everybody may have one.
inline bool mountLittle(const std::string& place)
{
    const bool isApart = unshare(CLONE_NEWNS) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0;
    const std::string options = "size=64k,nr_inodes=" + std::to_string(kLittleFiles);
    return isApart && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("none", place.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

/// Lets this process write no files of more than 64 KiB.
inline bool limitFiles()
{
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {65536, 65536};
    return setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

} // namespace LumTests
