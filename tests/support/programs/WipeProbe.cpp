#include "common/utils/LumMemoryUtils.h"
#include "support/ProbeStack.h"

#include <array>
#include <cstddef>
#include <cstring>

/// Handles a secret on a stack of the program's own, wipes it in the way that LUM_WIPE_WITH names, and searches the
/// stack afterwards. Exits with 0 if the secret is gone, with 1 if it is there, and with 2 if nothing could be tried.
///
/// It is built without sanitizers, whose own frames would change what is tried, and once for each way and optimiser.

namespace {

constexpr std::size_t kSecretSize = 64;

using Secret = std::array<unsigned char, kSecretSize>;

/// Made only while it is needed: a copy in the program's data or on another stack is not what is searched for.
unsigned char secretByte(std::size_t index)
{
    return static_cast<unsigned char>(index * 37 + 0x5B);
}

/// Whatever the compiler knows of the memory ends here, as when a secret is passed to the system.
void use(unsigned char* data)
{
    __asm__ volatile("" : : "r"(data) : "memory");
}

void wipeWithNothing(void* /*data*/, std::size_t /*size*/) {}

void wipeWithMemset(void* data, std::size_t size)
{
    std::memset(data, 0, size);
}

void wipeWithLibrary(void* data, std::size_t size)
{
    LumUtils::secureZeroMemory(data, size);
}

void handleSecret()
{
    Secret secret;
    for (std::size_t index = 0; index < secret.size(); ++index) {
        secret[index] = secretByte(index);
    }
    use(secret.data());
    LUM_WIPE_WITH(secret.data(), secret.size());
}

/// Called through a volatile pointer, so that it is a function with a frame of its own.
void (*volatile handler)() = handleSecret;

/// Far down the stack: what ends the thread overwrites its beginning.
void runDeepDown()
{
    std::array<unsigned char, LumTests::kProbeStackSize / 2> distance;
    use(distance.data());
    handler();
    use(distance.data());
}

bool holdsSecret(const unsigned char* memory, std::size_t size)
{
    for (std::size_t start = 0; start + kSecretSize <= size; ++start) {
        std::size_t same = 0;
        while (same < kSecretSize && memory[start + same] == secretByte(same)) {
            ++same;
        }
        if (same == kSecretSize) {
            return true;
        }
    }
    return false;
}

bool isFound = false;

void look(const unsigned char* memory, std::size_t size)
{
    isFound = holdsSecret(memory, size);
}

} // namespace

int main()
{
    if (!LumTests::runOnProbeStack(runDeepDown, look)) {
        return 2;
    }
    return isFound ? 1 : 0;
}
