/// Starts servers for tests, runs a test program that talks to them, and ends them.
///
///     lum_test_server [--proxies] [--] COMMAND [ARGUMENT...]
///
/// exits with the command's exit code (128 and the number of the signal that ended it). Without a command it prints the
/// environment and serves until SIGTERM or SIGINT. All ports are free ones of the loopback interface. Whatever ends
/// this process, nginx and the command end with it; the files are removed unless it is killed.
///
/// The command's environment:
///
/// | variable                        | value                                                                          |
/// |---------------------------------|--------------------------------------------------------------------------------|
/// | LUM_TEST_HTTP_PORT              | port of the scripted HTTP server, on 127.0.0.1 and ::1                         |
/// | LUM_TEST_SILENT_PORT            | port that accepts and neither reads nor answers, on both                       |
/// | LUM_TEST_CLOSED_PORT            | port that refuses connections, on both                                         |
/// | LUM_TEST_FULL_PORT              | port of 127.0.0.1 on which connecting never ends                               |
/// | LUM_TEST_NGINX_PORT             | port of nginx with the tree of StaticTree.h, on 127.0.0.1, as all that follow  |
/// | LUM_TEST_HTTPS_SELF_SIGNED_PORT | the same over https, with a certificate that is signed by itself               |
/// | LUM_TEST_HTTPS_WRONG_HOST_PORT  | with a certificate for wrong.example, signed by the test authority             |
/// | LUM_TEST_HTTPS_EXPIRED_PORT     | with an expired certificate, signed by the test authority                      |
/// | LUM_TEST_HTTPS_TRUSTED_PORT     | with a good certificate, signed by the test authority                          |
/// | LUM_TEST_CA_FILE                | path of the test authority's certificate; no system trusts it                  |
/// | LUM_TEST_NGINX_ROOT             | path of the tree that nginx serves                                             |
/// | LUM_TEST_HOSTILE_PORTS          | ports of the hostile server; soak/networking/FaultPlan.h says what it does     |
///
/// With --proxies there are SOCKS5 proxies too:
///
/// | variable                        | value                                                                          |
/// |---------------------------------|--------------------------------------------------------------------------------|
/// | LUM_TEST_SOCKS_PORT             | port of microsocks that lets everybody in, on 127.0.0.1, as all that follow    |
/// | LUM_TEST_SOCKS_PASSWORD_PORT    | port of microsocks that asks for user and password                             |
/// | LUM_TEST_SOCKS_USER             | the user                                                                       |
/// | LUM_TEST_SOCKS_PASSWORD         | the password                                                                   |
/// | LUM_TEST_SOCKS_DANTE_PORT       | port of dante that lets everybody in                                           |
///
/// The scripted server's paths; any method is taken. Connections are kept alive where not said otherwise, and where the
/// query does not hold "close":
///
/// | path              | query (and its default)                | answer                                           |
/// |-------------------|----------------------------------------|--------------------------------------------------|
/// | / /echo /echo/TXT |                                        | the request as it came, byte for byte            |
/// | /checksum         |                                        | length and checksum (BodyPattern.h) of the body  |
/// | /status/NNN       |                                        | that status, X-Status: NNN, a body if allowed    |
/// | /bytes            | n (0), framing length, chunked, close, | n bytes of BodyPattern.h                         |
/// |                   | key                                    |                                                  |
/// | /slow             | n (10), ms (20)                        | n bytes, a pause after each                      |
/// | /trickle          | key, ms (1), seconds (30)              | a pause and a byte, over and over, until the key |
/// |                   |                                        | is released; cut off when the time is over       |
/// | /interim          | status (103), count (1), bare          | so many interim responses, then "final";         |
/// |                   |                                        | X-Interim: yes where they are not bare           |
/// | /redirect         | to (/echo), status (302), cookie       | a redirect, with Set-Cookie if there is a cookie |
/// | /chain            | n (0), status (302)                    | n redirects, then "end of chain"                 |
/// | /loop             |                                        | a redirect to itself                             |
/// | /headers/many     | n (300), length (0)                    | X-Header-0: value-0, and so on, each value with  |
/// |                   |                                        | so many letters more                             |
/// | /headers/large    | n (61440)                              | X-Large with so many letters                     |
/// | /headers/repeated |                                        | X-Repeated: first, X-Repeated: second            |
/// | /headers/folded   |                                        | X-Folded in two lines                            |
/// | /headers/novalue  |                                        | X-Empty and X-Blank without value                |
/// | /headers/nocolon  |                                        | a line without colon between two others          |
/// | /headers/bytes    |                                        | X-Latin with byte E9, X-Utf8 with C3 A9          |
/// | /headers/spaces   |                                        | X-Spaces with white space around its value       |
/// | /reset            | at start (default), headers, body      | a reset at that place                            |
/// | /short            | n (1000), sent (10), framing chunked   | fewer bytes than announced, then a clean close   |
/// | /shortheaders     |                                        | a clean close in the middle of the headers       |
/// | /garbage          |                                        | no HTTP, then a clean close                      |
/// | /close            |                                        | a clean close without an answer                  |
/// | /stall            | key, at headers (default) or body,     | waits for the key's release, then goes on        |
/// |                   | seconds (30), end answer, close, reset | ("0123456789"), closes or resets                 |
/// | /early            | status (413)                           | answers before it reads the body, then closes    |
/// | /early-redirect   | to, status (307)                       | redirects before it reads the body               |
/// | /more             | answer, bytes, ms (50)                 | answers, and sends the bytes so much later       |
/// | /release          | key                                    | lets those go on that wait for the key           |
/// | /count            | key                                    | number of other requests with that key so far    |
/// | /sent             | key                                    | bytes sent so far by /bytes with that key        |
/// | /stats            |                                        | "connections N", "requests N"                    |
/// | /unknown          |                                        | the request lines so far that got a 404          |
/// | /silent/close     |                                        | closes the silent port's connections             |
/// | /silent/count     |                                        | number of the silent port's connections          |
///
/// Any other path gets a 404, "no such path"; the connection closes after it if the method is CONNECT.

#include "support/server/ChildProcess.h"
#include "support/server/ClosedPort.h"
#include "support/server/Environment.h"
#include "support/server/FullPort.h"
#include "support/server/TemporaryFolder.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>

#include <sys/resource.h>

namespace {

using namespace LumTestServer;

/// For this process and for those that it starts: a thousand connections must fit.
void raiseDescriptorLimit()
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

/// Waits until the command ends by itself, or because this process is asked to end.
int runCommand(const std::vector<std::string>& words)
{
    ChildProcess command(words);
    while (!command.HasEnded()) {
        const int signal = waitForSignal();
        if (signal != SIGCHLD) {
            return 128 + signal;
        }
    }
    return command.ExitCode();
}

int serveUntilSignalled(NginxServer& nginx)
{
    while (waitForSignal() == SIGCHLD) {
        if (nginx.HasEnded()) {
            std::fprintf(stderr, "lum_test_server: nginx has ended\n");
            return 1;
        }
    }
    return 0;
}

int run(const std::vector<std::string>& command, bool wantsProxies)
{
    raiseDescriptorLimit();
    blockSignals();
    // nginx is started before there are threads.
    const TemporaryFolder folder;
    NginxServer nginx(folder.Path());
    std::unique_ptr<SocksProxies> proxies;
    if (wantsProxies) {
        proxies = std::make_unique<SocksProxies>(folder.Path());
    }
    const ClosedPort closed;
    const FullPort full;
    const ScriptedHttpServer scripted;
    const HostileServer hostile;
    Environment environment = makeEnvironment(scripted, closed, full, nginx, hostile);
    if (proxies) {
        addProxies(environment, *proxies);
    }
    exportEnvironment(environment);
    if (command.empty()) {
        printEnvironment(environment);
        return serveUntilSignalled(nginx);
    }
    return runCommand(command);
}

/// Whether the first word is the given one, which is then taken away.
bool takeFirst(std::vector<std::string>& words, const char* word)
{
    const bool isThere = !words.empty() && words.front() == word;
    if (isThere) {
        words.erase(words.begin());
    }
    return isThere;
}

} // namespace

int main(int count, char** arguments)
{
    std::vector<std::string> command(arguments + 1, arguments + count);
    const bool wantsProxies = takeFirst(command, "--proxies");
    takeFirst(command, "--");
    try {
        return run(command, wantsProxies);
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "lum_test_server: %s\n", exception.what());
        return 1;
    }
}
