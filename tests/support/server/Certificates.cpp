#include "support/server/Certificates.h"

#include "support/server/ChildProcess.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace LumTestServer {

namespace {

constexpr const char* kNewKey = " -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes";

/// The configuration of a certificate authority that signs whatever it is given.
constexpr const char* kAuthorityConfiguration = R"(
[ca]
default_ca = test
[test]
database = authority.index
serial = authority.serial
new_certs_dir = .
default_md = sha256
policy = any
copy_extensions = copy
unique_subject = no
[any]
commonName = supplied
[req]
distinguished_name = name
prompt = no
[name]
commonName = test
[authority]
basicConstraints = critical,CA:TRUE
keyUsage = critical,keyCertSign,cRLSign
)";

std::vector<std::string> splitAtSpaces(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<std::string> words;
    std::string word;
    while (stream >> word) {
        words.push_back(word);
    }
    return words;
}

} // namespace

Certificates::Certificates(const std::filesystem::path& newFolder) : folder(newFolder)
{
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "authority.cnf") << kAuthorityConfiguration;
    std::ofstream(folder / "authority.index").flush();
    std::ofstream(folder / "authority.serial") << "01\n";
    Run(std::string("req -x509 -days 30 -config authority.cnf -extensions authority -subj /CN=test-authority") +
        " -keyout authority.key -out authority.pem" + kNewKey);
}

void Certificates::MakeSelfSigned(const std::string& name) const
{
    Run("req -x509 -days 30 -config authority.cnf -subj /CN=localhost" +
        std::string(" -addext subjectAltName=DNS:localhost,IP:127.0.0.1,IP:::1") + " -keyout " + name + ".key -out " +
        name + ".pem" + kNewKey);
}

void Certificates::MakeValid(const std::string& name, const std::string& subjectNames) const
{
    Sign(name, subjectNames, "20200101000000Z", "20491231000000Z");
}

void Certificates::MakeExpired(const std::string& name, const std::string& subjectNames) const
{
    Sign(name, subjectNames, "20200101000000Z", "20200201000000Z");
}

void Certificates::Sign(const std::string& name, const std::string& subjectNames, const std::string& start,
                        const std::string& end) const
{
    Run("req -new -config authority.cnf -subj /CN=" + name + " -addext subjectAltName=" + subjectNames + " -keyout " +
        name + ".key -out " + name + ".csr" + kNewKey);
    Run("ca -batch -notext -config authority.cnf -cert authority.pem -keyfile authority.key -startdate " + start +
        " -enddate " + end + " -in " + name + ".csr -out " + name + ".pem");
}

void Certificates::Run(const std::string& arguments) const
{
    // The program runs in the folder, and tells what it did only if it failed.
    const std::string script = "cd \"$0\" && openssl \"$@\" >openssl.log 2>&1 || { cat openssl.log >&2; exit 1; }";
    std::vector<std::string> command = {"/bin/sh", "-c", script, folder.string()};
    const std::vector<std::string> words = splitAtSpaces(arguments);
    command.insert(command.end(), words.begin(), words.end());
    if (ChildProcess(command).Wait() != 0) {
        throw std::runtime_error("openssl failed: " + arguments);
    }
}

} // namespace LumTestServer
