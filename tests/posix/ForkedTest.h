#pragma once

#include <cerrno>

#include <sys/wait.h>
#include <unistd.h>

namespace LumTests {

/// A copy of this process that is to be waited for.
class Fork {
public:
    /// Runs `body` in the copy, which ends with its result as exit code.
    template <typename Body>
    explicit Fork(Body body) : process(fork())
    {
        if (process == 0) {
            _exit(body());
        }
    }
    ~Fork() { wait(); }
    Fork(const Fork&) = delete;
    Fork& operator=(const Fork&) = delete;

    /// The exit code, or 128 and the signal.
    int wait()
    {
        if (!isOver) {
            int status = 0;
            while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
            }
            code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            isOver = true;
        }
        return code;
    }

private:
    const pid_t process;
    bool isOver = false;
    int code = 0;
};

/// Whether the condition holds in a copy of this process that is no superuser, for whom permissions say nothing.
template <typename Condition>
bool holdsInForkedUser(Condition condition)
{
    constexpr unsigned int kNobody = 65534;
    return Fork([&] {
               const bool isOther = geteuid() != 0 || (setresgid(kNobody, kNobody, kNobody) == 0 &&
                                                       setresuid(kNobody, kNobody, kNobody) == 0);
               return isOther && condition() ? 0 : 1;
           }).wait() == 0;
}

} // namespace LumTests
