#pragma once

#include <filesystem>
#include <string>

namespace LumTestServer {

/// Makes certificates and their keys with the openssl program, in a folder of their own.
class Certificates {
public:
    /// Makes the authority that signs the others.
    explicit Certificates(const std::filesystem::path& newFolder);

    std::filesystem::path AuthorityFile() const { return CertificateFile("authority"); }
    std::filesystem::path CertificateFile(const std::string& name) const { return folder / (name + ".pem"); }
    std::filesystem::path KeyFile(const std::string& name) const { return folder / (name + ".key"); }

    /// For 127.0.0.1, ::1 and localhost, signed by itself.
    void MakeSelfSigned(const std::string& name) const;

    /// For the given subject names ("DNS:localhost,IP:127.0.0.1"), signed by the authority and valid now.
    void MakeValid(const std::string& name, const std::string& subjectNames) const;

    /// As MakeValid, but it was valid in the past.
    void MakeExpired(const std::string& name, const std::string& subjectNames) const;

private:
    void Run(const std::string& arguments) const;
    void Sign(const std::string& name, const std::string& subjectNames, const std::string& start,
              const std::string& end) const;

    std::filesystem::path folder;
};

} // namespace LumTestServer
