#pragma once

#include "support/server/Certificates.h"
#include "support/server/ChildProcess.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

namespace LumTestServer {

/// nginx with one worker, serving a static tree over http, and over https with certificates good and bad.
class NginxServer {
public:
    struct Ports {
        std::uint16_t http = 0;
        std::uint16_t selfSigned = 0;
        std::uint16_t wrongHost = 0;
        std::uint16_t expired = 0;
        std::uint16_t trusted = 0;
    };

    /// Keeps all its files below the folder. Returns when all ports accept connections; throws if they never do.
    explicit NginxServer(const std::filesystem::path& newFolder);

    const Ports& PortNumbers() const { return ports; }
    std::filesystem::path AuthorityFile() const { return certificates.AuthorityFile(); }
    std::filesystem::path Root() const { return folder / "root"; }
    bool HasEnded() { return process->HasEnded(); }

private:
    void MakeCertificates() const;
    void ChoosePorts();
    void WriteConfiguration() const;
    std::string SecureServer(std::uint16_t port, const std::string& certificate) const;
    bool Start();
    bool IsAccepting() const;

    std::filesystem::path folder;
    Certificates certificates;
    Ports ports;
    std::unique_ptr<ChildProcess> process;
};

} // namespace LumTestServer
