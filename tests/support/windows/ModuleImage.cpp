#include "ModuleImage.h"

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace LumTests {

namespace {

template <typename Type>
Type valueAt(const std::string& bytes, std::size_t offset)
{
    Type value = {};
    bytes.copy(reinterpret_cast<char*>(&value), sizeof(value), offset);
    return value;
}

/// A name of more than eight bytes is "/" and its place in the table of texts, which follows the symbols.
std::string sectionName(const std::string& bytes, const IMAGE_FILE_HEADER& header, const IMAGE_SECTION_HEADER& section)
{
    const std::string name(reinterpret_cast<const char*>(section.Name), sizeof(section.Name));
    if (name[0] != '/') {
        return name.c_str();
    }
    const std::size_t texts = header.PointerToSymbolTable + std::size_t{header.NumberOfSymbols} * IMAGE_SIZEOF_SYMBOL;
    return bytes.c_str() + texts + std::stoul(name.substr(1));
}

} // namespace

ModuleImage::ModuleImage(const char* name) : module(GetModuleHandleA(name))
{
    if (module == nullptr) {
        throw std::runtime_error(std::string(name) + " is not loaded");
    }
}

std::string ModuleImage::path() const
{
    std::vector<char> text(32768);
    return std::string(text.data(), GetModuleFileNameA(module, text.data(), static_cast<DWORD>(text.size())));
}

const IMAGE_OPTIONAL_HEADER& ModuleImage::header() const
{
    return at<IMAGE_NT_HEADERS>(static_cast<std::size_t>(at<IMAGE_DOS_HEADER>(0)->e_lfanew))->OptionalHeader;
}

unsigned ModuleImage::characteristics() const
{
    return header().DllCharacteristics;
}

std::set<std::string> ModuleImage::importedLibraries() const
{
    std::set<std::string> names;
    const auto start = header().DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (const auto* library = at<IMAGE_IMPORT_DESCRIPTOR>(start); library->Name != 0; ++library) {
        names.emplace(at<char>(library->Name));
    }
    return names;
}

std::set<std::string> ModuleImage::exportedNames() const
{
    std::set<std::string> names;
    const auto* const exports =
        at<IMAGE_EXPORT_DIRECTORY>(header().DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
    for (DWORD index = 0; index < exports->NumberOfNames; ++index) {
        names.emplace(at<char>(at<DWORD>(exports->AddressOfNames)[index]));
    }
    return names;
}

std::string ModuleImage::versionResource() const
{
    DWORD unused = 0;
    std::string resource(GetFileVersionInfoSizeA(path().c_str(), &unused), '\0');
    if (resource.empty() ||
        !GetFileVersionInfoA(path().c_str(), 0, static_cast<DWORD>(resource.size()), resource.data())) {
        throw std::runtime_error("the module has no version resource");
    }
    return resource;
}

std::string ModuleImage::versionText(const std::string& name) const
{
    const std::string resource = versionResource();
    void* text = nullptr;
    UINT length = 0;
    return VerQueryValueA(resource.data(), ("\\StringFileInfo\\040904B0\\" + name).c_str(), &text, &length)
               ? std::string(static_cast<const char*>(text))
               : std::string();
}

std::string ModuleImage::versionNumber() const
{
    const std::string resource = versionResource();
    void* value = nullptr;
    UINT length = 0;
    if (!VerQueryValueA(resource.data(), "\\", &value, &length)) {
        return {};
    }
    const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(value);
    return std::to_string(HIWORD(info.dwFileVersionMS)) + "." + std::to_string(LOWORD(info.dwFileVersionMS)) + "." +
           std::to_string(HIWORD(info.dwFileVersionLS)) + "." + std::to_string(LOWORD(info.dwFileVersionLS));
}

std::set<std::string> sectionsOfFile(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    const std::string bytes = content.str();
    const auto start = static_cast<std::size_t>(valueAt<IMAGE_DOS_HEADER>(bytes, 0).e_lfanew) + sizeof(DWORD);
    const auto header = valueAt<IMAGE_FILE_HEADER>(bytes, start);
    const std::size_t sections = start + sizeof(header) + header.SizeOfOptionalHeader;
    std::set<std::string> names;
    for (std::size_t index = 0; index < header.NumberOfSections; ++index) {
        const auto section = valueAt<IMAGE_SECTION_HEADER>(bytes, sections + index * sizeof(IMAGE_SECTION_HEADER));
        names.insert(sectionName(bytes, header, section));
    }
    return names;
}

} // namespace LumTests
