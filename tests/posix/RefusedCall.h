#pragma once

#include <cstddef>
#include <cstdint>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

namespace LumTests {

/// Which calls are meant, by the lower half of one of their arguments: those in which these bits are so. By default
/// all.
struct CallArgument {
    unsigned int index = 0;
    std::uint32_t mask = 0;
    std::uint32_t value = 0;
};

/// From now on the system refuses that call to this process with the error, as an older system or a file system that
/// lacks it would. It cannot be taken back: call it in a copy of the process. False if the system does not allow it.
inline bool refuseCall(long number, int error, const CallArgument& argument = {})
{
    const auto place =
        static_cast<std::uint32_t>(offsetof(seccomp_data, args) + argument.index * sizeof(std::uint64_t));
    sock_filter filter[] = {
        {BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr)},
        {BPF_JMP | BPF_JEQ | BPF_K, 0, 4, static_cast<std::uint32_t>(number)},
        {BPF_LD | BPF_W | BPF_ABS, 0, 0, place},
        {BPF_ALU | BPF_AND | BPF_K, 0, 0, argument.mask},
        {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, argument.value},
        {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error)},
        {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW},
    };
    const sock_fprog program = {sizeof(filter) / sizeof(filter[0]), filter};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

} // namespace LumTests
