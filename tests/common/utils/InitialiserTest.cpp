#include "common/utils/LumError.h"

#include "common/storage/LumFileManager.h"

#include <gtest/gtest.h>

#include <any>
#include <memory>
#include <string>

/// What a host's global objects get from the library: they may be made before the library's own.

namespace {

const std::unique_ptr<LumUtils::ILumError> kUnreadable = LumUtils::LumError::fromJson("{");

std::shared_ptr<LumUtils::ILumError> readMissingFile()
{
    std::shared_ptr<LumUtils::ILumError> error;
    LumStorage::LumFileManager(nullptr).readFileContentWithLock("/no/such/folder/file", error);
    return error;
}

const std::shared_ptr<LumUtils::ILumError> kMissing = readMissingFile();

TEST(InitialiserTest, AnErrorOfUnreadableJsonHasItsDomainAndKeys)
{
    EXPECT_EQ(kUnreadable->getDomain(), "com.corvan.utils.errordomain");
    EXPECT_EQ(kUnreadable->getUserInfo().size(), 2U);
    EXPECT_EQ(kUnreadable->getUserInfo().count("LumErrorUnderlyingErrorDescription"), 1U);
    EXPECT_EQ(kUnreadable->getUserInfo().count("LumErrorUnderlyingErrorObject"), 1U);
}

TEST(InitialiserTest, AnErrorOfStorageHasItsDomainAndKeys)
{
    ASSERT_NE(kMissing, nullptr);
    EXPECT_EQ(kMissing->getDomain(), "com.corvan.clientlibs.liblumstorage.error");
    EXPECT_EQ(kMissing->getUserInfo().count("LumErrorUnderlyingErrorCode"), 1U);
    EXPECT_EQ(kMissing->getUserInfo().count("LumErrorUnderlyingErrorDescription"), 1U);
}

} // namespace
