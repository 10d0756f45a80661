#include "posix/process/Exhaustion.h"

#include "Windows/networking/WinHttpClientAsync.h"
#include "common/networking/LumNetworkingError.h"
#include "common/utils/LumError.h"
#include "common/utils/LumUuidUtils.h"
#include "support/RecordingLogger.h"
#include "support/TestServers.h"

#include <atomic>
#include <chrono>
#include <future>
#include <iostream>
#include <stdexcept>
#include <vector>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace LumTests {

namespace {

using namespace LumNetworking;

struct Outcome {
    HttpRequestResult result;
    int code;
    std::string description;
};

Outcome fetch(WinHttpClientAsync& client, const std::string& url)
{
    std::promise<Outcome> promise;
    client.Get(
        url, {},
        [&](HttpRequestResult result, std::unique_ptr<HttpResponse>, std::unique_ptr<LumUtils::ILumError> error,
            std::shared_ptr<ILumAsynchronousTransaction>) {
            promise.set_value({result, error ? error->getCode() : 0, error ? error->getDescription() : ""});
        },
        true, 30);
    return promise.get_future().get();
}

/// Sets the limit that holds now; the one up to which it may be raised stays.
void setLimit(__rlimit_resource_t resource, rlim_t count)
{
    rlimit limit = {};
    getrlimit(resource, &limit);
    limit.rlim_cur = count;
    setrlimit(resource, &limit);
}

rlim_t limitOf(__rlimit_resource_t resource)
{
    rlimit limit = {};
    getrlimit(resource, &limit);
    return limit.rlim_cur;
}

/// Takes all descriptors that the process may have.
class AllDescriptors {
public:
    AllDescriptors() : usual(limitOf(RLIMIT_NOFILE))
    {
        setLimit(RLIMIT_NOFILE, kFew);
        for (int taken = open("/dev/null", O_RDONLY | O_CLOEXEC); taken >= 0;
             taken = open("/dev/null", O_RDONLY | O_CLOEXEC)) {
            descriptors.push_back(taken);
        }
    }
    ~AllDescriptors()
    {
        for (const int descriptor : descriptors) {
            close(descriptor);
        }
        setLimit(RLIMIT_NOFILE, usual);
    }
    AllDescriptors(const AllDescriptors&) = delete;
    AllDescriptors& operator=(const AllDescriptors&) = delete;

private:
    static constexpr rlim_t kFew = 64;

    const rlim_t usual;
    std::vector<int> descriptors;
};

/// Keeps the process from starting threads.
class NoThreads {
public:
    NoThreads() : usual(limitOf(RLIMIT_NPROC))
    {
        constexpr uid_t kNobody = 65534;
        // The limit does not bind the super-user. Without the flag a tool could not look for leaks at the end.
        if (geteuid() == 0 && setresuid(kNobody, kNobody, kNobody) == 0) {
            prctl(PR_SET_DUMPABLE, 1);
        }
        setLimit(RLIMIT_NPROC, 0);
    }
    ~NoThreads() { setLimit(RLIMIT_NPROC, usual); }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

private:
    const rlim_t usual;
};

bool isFailure(const Outcome& outcome, int code, int platformCode)
{
    const std::string number = "LumErrorUnderlyingErrorCode: " + std::to_string(platformCode) + ",";
    return outcome.result == HttpRequestResult::FAILED && outcome.code == code &&
           outcome.description.find(number) != std::string::npos;
}

bool isSuccess(const Outcome& outcome)
{
    return outcome.result == HttpRequestResult::SUCCESS;
}

bool expect(bool holds, const char* what, const Outcome& outcome)
{
    if (!holds) {
        std::cerr << "not so: " << what << "; " << outcome.code << ' ' << outcome.description << '\n';
    }
    return holds;
}

template <typename Shortage>
bool startWithout(const std::string& url)
{
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    Outcome first;
    {
        const Shortage shortage;
        first = fetch(client, url);
    }
    const Outcome second = fetch(client, url);
    constexpr int kNotEnoughMemory = 8;
    return expect(isFailure(first, LumNetworkingErrorCode::kSendFailed, kNotEnoughMemory), "the first fails", first) &&
           expect(isSuccess(second), "the second succeeds", second);
}

/// While there is a shortage a request to the server to which a connection is open succeeds, and the one to the other
/// server fails with that number. A request that needs a connection of its own succeeds afterwards.
template <typename Shortage>
bool goOnWithout(const std::string& other, int platformCode)
{
    const std::string connected = TestServers::scripted("/bytes?n=10");
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    const Outcome before = fetch(client, connected);
    Outcome same;
    Outcome failing;
    {
        const Shortage shortage;
        same = fetch(client, connected);
        failing = fetch(client, other);
    }
    const Outcome after = fetch(client, TestServers::scriptedIpv6("/bytes?n=10"));
    return expect(isSuccess(before), "the first request succeeds", before) &&
           expect(isSuccess(same), "the next one does without", same) &&
           expect(isFailure(failing, LumNetworkingErrorCode::kReceiveFailed, platformCode), "the other fails",
                  failing) &&
           expect(isSuccess(after), "one succeeds afterwards", after);
}

} // namespace

bool startWithoutDescriptors(const std::string& url)
{
    return startWithout<AllDescriptors>(url);
}

bool startWithoutThreads(const std::string& url)
{
    return startWithout<NoThreads>(url);
}

bool generateUuidWithoutDescriptors()
{
    std::string first = "none";
    try {
        const AllDescriptors shortage;
        first = LumUtils::generateUuid();
    } catch (const std::runtime_error&) {
        return LumUtils::generateUuid().size() == 36;
    }
    std::cerr << "without the device: " << first << '\n';
    return false;
}

bool goOnWithoutDescriptors()
{
    constexpr int kCannotConnect = 12029;
    return goOnWithout<AllDescriptors>(TestServers::scriptedIpv6("/bytes?n=10"), kCannotConnect);
}

bool goOnWithoutThreads()
{
    constexpr int kNameNotResolved = 12007;
    return goOnWithout<NoThreads>("http://no-such-host.invalid/", kNameNotResolved);
}

bool startManyWithFewDescriptors()
{
    constexpr int kRequests = 10000;
    setLimit(RLIMIT_NOFILE, 256);
    WinHttpClientAsync client(std::make_shared<RecordingLogger>());
    std::atomic<int> succeeded{0};
    std::atomic<int> ended{0};
    std::atomic<int> unopened{0};
    const auto openFile = [&] {
        const int file = open("/dev/null", O_RDONLY | O_CLOEXEC);
        unopened += file < 0 ? 1 : 0;
        close(file);
    };
    std::promise<void> all;
    for (int count = 0; count < kRequests; ++count) {
        client.Get(
            TestServers::nginx("/licenses/BSD"), {},
            [&](HttpRequestResult result, auto, auto, auto) {
                succeeded += result == HttpRequestResult::SUCCESS ? 1 : 0;
                openFile();
                if (++ended == kRequests) {
                    all.set_value();
                }
            },
            true, 30);
        openFile();
    }
    const bool isOver = all.get_future().wait_for(std::chrono::seconds(60)) == std::future_status::ready;
    openFile();
    std::cerr << succeeded << " of " << ended << " succeeded, " << unopened << " files could not be opened\n";
    return isOver && succeeded == kRequests && unopened == 0;
}

} // namespace LumTests
