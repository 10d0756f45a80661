#include "support/TrustedAuthority.h"

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

#include <windows.h>

#include <wincrypt.h>

namespace LumTests {

namespace {

[[noreturn]] void fail(const char* what)
{
    throw std::runtime_error(std::string(what) + ": " + std::to_string(GetLastError()));
}

/// The user's root certificates. What is added to the store is seen by others once it is closed.
class RootStore {
public:
    RootStore()
        : handle(CertOpenStore(CERT_STORE_PROV_SYSTEM_REGISTRY_W, 0, 0, CERT_SYSTEM_STORE_CURRENT_USER, L"Root"))
    {
        if (handle == nullptr) {
            fail("CertOpenStore");
        }
    }
    ~RootStore() { CertCloseStore(handle, 0); }
    RootStore(const RootStore&) = delete;
    RootStore& operator=(const RootStore&) = delete;

    HCERTSTORE Handle() const { return handle; }

private:
    const HCERTSTORE handle;
};

std::string readFile(const std::string& name)
{
    std::ostringstream text;
    text << std::ifstream(name, std::ios::binary).rdbuf();
    return text.str();
}

/// The certificate of a PEM file.
std::vector<BYTE> readCertificate(const std::string& name)
{
    const std::string text = readFile(name);
    std::vector<BYTE> bytes(text.size());
    auto size = static_cast<DWORD>(bytes.size());
    if (!CryptStringToBinaryA(text.c_str(), static_cast<DWORD>(text.size()), CRYPT_STRING_BASE64HEADER, bytes.data(),
                              &size, nullptr, nullptr)) {
        fail("CryptStringToBinaryA");
    }
    bytes.resize(size);
    return bytes;
}

} // namespace

struct TrustedAuthority::System {
    std::vector<BYTE> certificate;
};

TrustedAuthority::TrustedAuthority(const std::string& certificateFile)
    : system(std::make_unique<System>(System{readCertificate(certificateFile)}))
{
    const RootStore store;
    if (!CertAddEncodedCertificateToStore(store.Handle(), X509_ASN_ENCODING, system->certificate.data(),
                                          static_cast<DWORD>(system->certificate.size()),
                                          CERT_STORE_ADD_REPLACE_EXISTING, nullptr)) {
        fail("CertAddEncodedCertificateToStore");
    }
}

TrustedAuthority::~TrustedAuthority()
{
    const CERT_CONTEXT* const wanted = CertCreateCertificateContext(X509_ASN_ENCODING, system->certificate.data(),
                                                                    static_cast<DWORD>(system->certificate.size()));
    const RootStore store;
    const CERT_CONTEXT* const found =
        CertFindCertificateInStore(store.Handle(), X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, wanted, nullptr);
    if (found != nullptr) {
        CertDeleteCertificateFromStore(found);
    }
    CertFreeCertificateContext(wanted);
}

} // namespace LumTests
