#include "peers/Base64Peer.h"
#include "common/utils/codec/Base64Codec.h"
#include "common/utils/codec/CodecPaths.h"

/// Base64 beside that of another library, on every path.

namespace {

using namespace LumUtils::Codec;
using LumTests::decodedByPeer;
using LumTests::encodedByPeer;

class Base64PeerTest : public testing::TestWithParam<LumTests::CodecPath> {
protected:
    const CodecKernels& kernels = *GetParam();
};

INSTANTIATE_TEST_SUITE_P(Paths, Base64PeerTest, testing::ValuesIn(LumTests::codecPaths()), LumTests::nameOfPath);

std::string randomBytes(std::mt19937& random, std::size_t length)
{
    std::string bytes(length, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random() % 256); });
    return bytes;
}

TEST_P(Base64PeerTest, RandomBytesAreEncodedAlikeAndComeBackFromEachOther)
{
    std::mt19937 random(1);
    for (int round = 0; round < 50000; ++round) {
        const std::string bytes = randomBytes(random, random() % 400);
        const std::string text = base64Encode(kernels, bytes.data(), bytes.size(), false);
        ASSERT_EQ(text, encodedByPeer(bytes));
        ASSERT_EQ(decodedByPeer(text), bytes);
        ASSERT_EQ(base64Decode(kernels, text.data(), text.size()), bytes);
    }
}

TEST_P(Base64PeerTest, ALongTextIsEncodedAlikeAndComesBack)
{
    std::mt19937 random(2);
    const std::string bytes = randomBytes(random, (std::size_t{4} << 20U) + 1);
    const std::string text = base64Encode(kernels, bytes.data(), bytes.size(), false);
    ASSERT_TRUE(text == encodedByPeer(bytes));
    ASSERT_TRUE(base64Decode(kernels, text.data(), text.size()) == bytes);
}

} // namespace
