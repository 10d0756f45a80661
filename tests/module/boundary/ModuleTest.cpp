#include "ModuleImage.h"

#include "common/utils/LumBase64.h"

#include <gmock/gmock.h>

#include <exception>
#include <fstream>
#include <sstream>
#include <string>

/// The module as it ships: what the loader and the linker read in it.

namespace {

using LumTests::ModuleImage;
using LumTests::sectionsOfFile;

const ModuleImage& module()
{
    static const ModuleImage image("liblumutilsWinCli.dll");
    return image;
}

/// The names in the list that the module is linked with.
std::set<std::string> listedNames()
{
    std::ifstream list(LUM_EXPORT_LIST);
    std::set<std::string> names;
    for (std::string line; std::getline(list, line);) {
        std::string name;
        if (line.rfind("  ", 0) == 0 && std::istringstream(line) >> name) {
            names.insert(name);
        }
    }
    return names;
}

TEST(ModuleTest, NeedsNothingButTheSystemsLibraries)
{
    EXPECT_THAT(module().importedLibraries(), testing::ElementsAre("KERNEL32.dll", "WINHTTP.dll", "msvcrt.dll"));
}

TEST(ModuleTest, ShowsWhatItsListSaysAndNothingElse)
{
    const std::set<std::string> listed = listedNames();
    ASSERT_GT(listed.size(), 100U);
    EXPECT_EQ(module().exportedNames(), listed);
}

TEST(ModuleTest, ShowsNothingOfOtherLibraries)
{
    for (const std::string& name : module().exportedNames()) {
        EXPECT_EQ(name.find("nlohmann"), std::string::npos) << name;
        EXPECT_EQ(name.find("LumPlatform"), std::string::npos) << name;
        EXPECT_NE(name.rfind("_ZNSt", 0), 0U) << name;
    }
}

TEST(ModuleTest, IsLoadedAnywhereAndItsDataIsNotExecuted)
{
    const unsigned flags = module().characteristics();
    EXPECT_TRUE(flags & IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE);
    EXPECT_TRUE(flags & IMAGE_DLLCHARACTERISTICS_NX_COMPAT);
    const bool isWide = sizeof(void*) == 8;
    EXPECT_EQ((flags & IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA) != 0, isWide);
    EXPECT_EQ(sectionsOfFile(module().path()).count(".reloc"), 1U);
}

TEST(ModuleTest, SaysItsVersion)
{
    EXPECT_EQ(module().versionNumber(), LUM_PROJECT_VERSION ".0");
    EXPECT_EQ(module().versionText("FileVersion"), LUM_PROJECT_VERSION);
    EXPECT_EQ(module().versionText("ProductVersion"), LUM_PROJECT_VERSION);
    EXPECT_EQ(module().versionText("OriginalFilename"), "liblumutilsWinCli.dll");
    EXPECT_EQ(module().versionText("ProductName"), "liblumutilsWinCli");
}

TEST(ModuleTest, ItsDebugSymbolsAreInAFileOfTheirOwn)
{
    const std::set<std::string> sections = sectionsOfFile(module().path());
    EXPECT_EQ(sections.count(".gnu_debuglink"), 1U);
    for (const std::string& section : sections) {
        EXPECT_NE(section.rfind(".debug", 0), 0U) << section;
    }
    EXPECT_EQ(sectionsOfFile(LUM_SHARED_LIBRARY ".debug").count(".debug_info"), 1U);
}

// The runtime is linked statically into the module and into its users; what handles exceptions must still be one.
TEST(ModuleTest, AnExceptionOfItsIsCaughtAndForgotten)
{
    EXPECT_THROW(LumUtils::base64Decode("?"), std::exception);
    EXPECT_EQ(std::uncaught_exceptions(), 0);
}

} // namespace
