#include "Peers.h"

#include <glib.h>

namespace LumBench {

namespace {

std::size_t encode(const std::string& bytes, char* text)
{
    int state = 0;
    int save = 0;
    const gsize length =
        g_base64_encode_step(reinterpret_cast<const guchar*>(bytes.data()), bytes.size(), FALSE, text, &state, &save);
    return length + g_base64_encode_close(FALSE, text + length, &state, &save);
}

std::size_t decode(const std::string& text, char* bytes)
{
    int state = 0;
    guint save = 0;
    return g_base64_decode_step(text.data(), text.size(), reinterpret_cast<guchar*>(bytes), &state, &save);
}

[[maybe_unused]] const Base64Peer& registered = AllPeers().base64.emplace_back(Base64Peer{"GLib", encode, decode});

} // namespace

} // namespace LumBench
