#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace LumBench {

/// Another library's base64. Both calls write into room that is there, if the library lets them, and return how much
/// they wrote.
struct Base64Peer {
    std::string name;
    std::function<std::size_t(const std::string& bytes, char* text)> encode;
    std::function<std::size_t(const std::string& text, char* bytes)> decode;
};

/// Another library's conversion between UTF-8 and UTF-16; likewise.
struct TextPeer {
    std::string name;
    std::function<std::size_t(const std::string& text, char16_t* units)> toUtf16;
    std::function<std::size_t(const std::u16string& text, char* bytes)> toUtf8;
};

/// Another library's reader and writer of URLs. `parse` reads the text and lets go of what it found; `print` writes the
/// URL that `open` read, and returns its length; it may be missing.
struct UrlPeer {
    std::string name;
    std::function<bool(const std::string& url)> parse;
    std::function<bool(const std::string& url)> open;
    std::function<std::size_t()> print;
};

/// Another library's random UUID in text form.
struct UuidPeer {
    std::string name;
    std::function<std::string()> generate;
};

/// Another way of overwriting memory for good.
struct WipePeer {
    std::string name;
    std::function<void(void* data, std::size_t size)> wipe;
};

/// The peers that were there when this was built. Each adds itself before main begins.
struct Peers {
    std::vector<Base64Peer> base64;
    std::vector<TextPeer> text;
    std::vector<UrlPeer> url;
    std::vector<UuidPeer> uuid;
    std::vector<WipePeer> wipe;
};

Peers& AllPeers();

} // namespace LumBench
