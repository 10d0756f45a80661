#include "common/utils/LumPlatformMessage.h"

#include "common/utils/LumTextUtils.h"

namespace LumUtils {

namespace {

/// The neutral language with its default sub-language.
constexpr DWORD kNeutralLanguage = 0x400;

/// Gives the buffer back in any case, even if the call made none.
struct MessageBuffer {
    MessageBuffer() = default;
    ~MessageBuffer() { LocalFree(text); }
    MessageBuffer(const MessageBuffer&) = delete;
    MessageBuffer& operator=(const MessageBuffer&) = delete;

    char* text = nullptr;
};

} // namespace

std::string platformMessage(DWORD code, DWORD flags, HMODULE module)
{
    MessageBuffer buffer;
    // With the allocate flag the call takes the address of a pointer where it else takes a buffer.
    const DWORD length = FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM | flags, module,
        code, kNeutralLanguage, reinterpret_cast<LPSTR>(&buffer.text), 0, nullptr);
    return length != 0 ? trimString(std::string(buffer.text, length)) : "Unknown error code " + std::to_string(code);
}

} // namespace LumUtils
