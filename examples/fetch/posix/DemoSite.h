#pragma once

#include "FetchJob.h"
#include "support/LoopbackPort.h"
#include "support/NginxServer.h"
#include "support/TemporaryFolder.h"

#include <string>
#include <vector>

namespace LumFetch {

/// A web server on loopback with files that the system ships, and with paths that redirect, fail or stall.
class DemoSite {
public:
    /// Throws std::runtime_error if the server does not start or the system has no such files.
    DemoSite();

    std::string BaseUrl() const { return server.BaseUrl(); }

    /// What there is to fetch, with what should come of it.
    std::vector<FetchJob> Jobs() const;

    /// Ends the server and removes its files; harmless if that has happened.
    void Stop();

private:
    std::string ServerDirectives() const;
    void AddFiles(std::vector<FetchJob>& jobs) const;
    void AddRedirects(std::vector<FetchJob>& jobs) const;
    void AddTrouble(std::vector<FetchJob>& jobs) const;

    /// Served throttled, and as what a redirect leads to.
    std::filesystem::path mainFile;
    LumLocalServer::TemporaryFolder folder;
    LumLocalServer::LoopbackPort silentPort;
    LumLocalServer::LoopbackPort closedPort;
    LumLocalServer::NginxServer server;
};

} // namespace LumFetch
