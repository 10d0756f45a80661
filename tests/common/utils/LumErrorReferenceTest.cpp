#include "common/utils/LumErrorReference.h"
#include "common/utils/LumError.h"

#include <gtest/gtest.h>

using LumUtils::ILumError;
using LumUtils::LumError;
using LumUtils::LumErrorReference;

namespace {

TEST(LumErrorReferenceTest, SaysWhatTheOtherErrorSays)
{
    const LumError error("com.example.storage", -7, {{"path", std::string("a.txt")}, {"tries", 3}});

    const LumErrorReference reference(error);

    EXPECT_EQ(reference.getDomain(), "com.example.storage");
    EXPECT_EQ(reference.getCode(), -7);
    EXPECT_EQ(std::any_cast<int>(reference.getUserInfo().at("tries")), 3);
    EXPECT_EQ(reference.getDescription(), "Domain: com.example.storage, Code: -7, UserInfo: {path: a.txt, tries: 3}");
    EXPECT_EQ(reference.toJson(), error.toJson());
}

TEST(LumErrorReferenceTest, ItsCloneNeedsNeitherError)
{
    auto error = std::make_unique<LumError>("com.example.storage", 4);
    auto reference = std::make_unique<LumErrorReference>(*error);

    const std::unique_ptr<ILumError> clone = reference->clone();
    reference.reset();
    error.reset();

    EXPECT_EQ(clone->getDescription(), "Domain: com.example.storage, Code: 4, UserInfo: {}");
}

} // namespace
