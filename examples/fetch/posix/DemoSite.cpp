#include "DemoSite.h"

#include <algorithm>
#include <stdexcept>

namespace LumFetch {

namespace fs = std::filesystem;

using LumLocalServer::LoopbackPort;
using LumNetworking::HttpMethod;

namespace {

const fs::path kLicenses = "/usr/share/common-licenses";
const fs::path kDocuments = "/usr/share/doc";

constexpr std::size_t kLicenseCount = 6;
constexpr std::size_t kDocumentCount = 2;

/// How long the throttled and the silent path take, about.
constexpr double kSlowSeconds = 2;
constexpr int kSilentMilliseconds = 1500;

constexpr const char* kUpload = "Sent by PUT through the library.\n";

struct SizedFile {
    std::uintmax_t size;
    fs::path path;
};

/// Whether the path can stand in a URL as it is.
bool isPlain(const fs::path& path)
{
    const std::string text = path.string();
    return std::all_of(text.begin(), text.end(), [](char character) {
        return std::string("/.-_+").find(character) != std::string::npos || (character >= '0' && character <= '9') ||
               (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z');
    });
}

void addFile(const fs::directory_entry& entry, std::vector<SizedFile>& files)
{
    std::error_code error;
    if (entry.is_symlink(error) || !entry.is_regular_file(error) || !isPlain(entry.path())) {
        return;
    }
    const std::uintmax_t size = entry.file_size(error);
    if (!error) {
        files.push_back({size, entry.path()});
    }
}

/// Files of the folder and, if wanted, of the folders in it; the largest first, one of each size.
std::vector<SizedFile> filesBelow(const fs::path& folder, bool withSubfolders)
{
    std::vector<SizedFile> files;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
        addFile(entry, files);
        if (withSubfolders && !entry.is_symlink(error) && entry.is_directory(error)) {
            for (const fs::directory_entry& inner : fs::directory_iterator(entry.path(), error)) {
                addFile(inner, files);
            }
        }
    }
    std::sort(files.begin(), files.end(), [](const SizedFile& left, const SizedFile& right) {
        return left.size != right.size ? left.size > right.size : left.path < right.path;
    });
    // Packages of one source ship the same file again and again.
    const auto sameSize = [](const SizedFile& left, const SizedFile& right) { return left.size == right.size; };
    files.erase(std::unique(files.begin(), files.end(), sameSize), files.end());
    return files;
}

fs::path largestLicense()
{
    const std::vector<SizedFile> files = filesBelow(kLicenses, false);
    if (files.empty()) {
        throw std::runtime_error("there is nothing to serve in " + kLicenses.string());
    }
    return files.front().path;
}

std::string rateFor(const fs::path& file)
{
    return std::to_string(static_cast<long>(static_cast<double>(fs::file_size(file)) / kSlowSeconds) + 1);
}

} // namespace

DemoSite::DemoSite()
    : mainFile(largestLicense()), folder("lum-fetch"), silentPort(LoopbackPort::Kind::Silent),
      closedPort(LoopbackPort::Kind::Closed), server(folder.Path(), ServerDirectives())
{
    fs::create_directory(folder.Path() / "uploads");
}

void DemoSite::Stop()
{
    server.Stop();
    folder.Remove();
}

std::string DemoSite::ServerDirectives() const
{
    const std::string mainName = mainFile.filename().string();
    return "location /licenses/ { alias " + kLicenses.string() + "/; }\n" +       //
           "location /doc/ { alias " + kDocuments.string() + "/; }\n" +           //
           "location /uploads/ { root .; dav_methods PUT; }\n" +                  //
           "location = /moved { return 301 /licenses/" + mainName + "; }\n" +     //
           "location = /elsewhere { return 302 /licenses/" + mainName + "; }\n" + //
           "location = /circle { return 302 /circle; }\n" +                       //
           "location = /broken { return 500; }\n" +                               //
           "location = /slow { alias " + mainFile.string() + "; limit_rate " + rateFor(mainFile) + "; }\n" +
           "location = /silent { proxy_pass http://127.0.0.1:" + std::to_string(silentPort.Number()) +
           "; proxy_read_timeout " + std::to_string(kSilentMilliseconds) + "ms; }\n";
}

std::vector<FetchJob> DemoSite::Jobs() const
{
    std::vector<FetchJob> jobs;
    AddFiles(jobs);
    AddRedirects(jobs);
    AddTrouble(jobs);
    return jobs;
}

void DemoSite::AddFiles(std::vector<FetchJob>& jobs) const
{
    const auto add = [&](const std::vector<SizedFile>& files, std::size_t limit, const fs::path& root,
                         const std::string& place) {
        for (std::size_t index = 0; index < std::min(limit, files.size()); ++index) {
            const fs::path& path = files[index].path;
            jobs.push_back({HttpMethod::Get, BaseUrl() + place + path.lexically_relative(root).generic_string(),
                            Expectation::SameAsFile(path)});
        }
    };
    add(filesBelow(kLicenses, false), kLicenseCount, kLicenses, "/licenses/");
    add(filesBelow(kDocuments, true), kDocumentCount, kDocuments, "/doc/");
    jobs.push_back({HttpMethod::Put, BaseUrl() + "/uploads/note.txt",
                    Expectation::Stored(folder.Path() / "uploads" / "note.txt", kUpload), kUpload});
}

void DemoSite::AddRedirects(std::vector<FetchJob>& jobs) const
{
    jobs.push_back({HttpMethod::Get, BaseUrl() + "/moved", Expectation::SameAsFile(mainFile)});
    jobs.push_back({HttpMethod::Get, BaseUrl() + "/elsewhere", Expectation::Status(302), "", false});
    jobs.push_back({HttpMethod::Get, BaseUrl() + "/circle", Expectation::Failure()});
}

void DemoSite::AddTrouble(std::vector<FetchJob>& jobs) const
{
    const std::string closed = "http://127.0.0.1:" + std::to_string(closedPort.Number()) + "/closed";
    jobs.push_back({HttpMethod::Get, BaseUrl() + "/missing", Expectation::Status(404)});
    jobs.push_back({HttpMethod::Get, BaseUrl() + "/broken", Expectation::Status(500)});
    jobs.push_back({HttpMethod::Get, closed, Expectation::Failure()});
    // A top-level domain that is reserved for names that never exist.
    jobs.push_back({HttpMethod::Get, "http://no-such-host.invalid/", Expectation::Failure()});
    jobs.push_back({HttpMethod::Get, BaseUrl() + "/slow", Expectation::SameAsFile(mainFile)});
    jobs.push_back({HttpMethod::Get, BaseUrl() + "/silent", Expectation::Status(504)});
}

} // namespace LumFetch
