#pragma once

#include <cstddef>
#include <cstdint>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

namespace LumTests {

/// From now on the system refuses that call to this process with the error, as an older system or a file system that
/// lacks it would. It cannot be taken back: call it in a copy of the process. False if the system does not allow it.
inline bool refuseCall(long number, int error)
{
    sock_filter filter[] = {
        {BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr)},
        {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, static_cast<std::uint32_t>(number)},
        {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error)},
        {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW},
    };
    const sock_fprog program = {sizeof(filter) / sizeof(filter[0]), filter};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

} // namespace LumTests
