#include "Peers.h"

#include <stdexcept>

#include <iconv.h>

namespace LumBench {

namespace {

/// One direction of the system's iconv, opened once.
class Converter {
public:
    Converter(const char* to, const char* from) : handle(iconv_open(to, from)) {}
    ~Converter() { iconv_close(handle); }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    /// Returns how many bytes were written.
    std::size_t Convert(const void* text, std::size_t size, void* out)
    {
        constexpr std::size_t kEnough = std::size_t{1} << 30U;
        // The call takes what it only reads as if it would change it.
        auto* from = const_cast<char*>(static_cast<const char*>(text));
        auto* to = static_cast<char*>(out);
        std::size_t room = kEnough;
        if (iconv(handle, &from, &size, &to, &room) == static_cast<std::size_t>(-1)) {
            throw std::runtime_error("iconv failed");
        }
        return kEnough - room;
    }

private:
    iconv_t handle;
};

std::size_t toUtf16(const std::string& text, char16_t* units)
{
    static Converter converter("UTF-16LE", "UTF-8");
    return converter.Convert(text.data(), text.size(), units) / 2;
}

std::size_t toUtf8(const std::u16string& text, char* bytes)
{
    static Converter converter("UTF-8", "UTF-16LE");
    return converter.Convert(text.data(), text.size() * 2, bytes);
}

[[maybe_unused]] const TextPeer& registered = AllPeers().text.emplace_back(TextPeer{"iconv", toUtf16, toUtf8});

} // namespace

} // namespace LumBench
