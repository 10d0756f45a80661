#include "DesktopWindow.h"

#include "support/TestServers.h"

#include <gtest/gtest.h>

#include <cstdlib>

/// The example's window, driven as its user drives it.

namespace {

using LumTests::DesktopWindow;
namespace TestServers = LumTests::TestServers;

/// Lets whoever makes a picture of the screen do so.
void pauseForPicture()
{
    const char* const seconds = std::getenv("LUM_TEST_PICTURE_SECONDS");
    if (seconds != nullptr) {
        Sleep(1000U * static_cast<DWORD>(std::strtoul(seconds, nullptr, 10)));
    }
}

std::string stalling(const std::string& key)
{
    return TestServers::scripted("/stall?seconds=120&key=" + key);
}

std::string releasing(const std::string& key)
{
    return TestServers::scripted("/release?key=" + key);
}

TEST(DesktopWindowTest, ShowsStateAndSizeOfEachRequestAndWhatTheLibraryLogs)
{
    DesktopWindow window;
    const std::string key = TestServers::newKey();
    window.typeUrls({TestServers::scripted("/bytes?n=123456"), TestServers::scripted("/status/404"),
                     TestServers::url(TestServers::closedPort(), "/"), "gopher://example.org/", stalling(key)});
    window.pressFetch();

    ASSERT_TRUE(window.waitForState(0, L"Done: 200"));
    EXPECT_EQ(window.row(0).size, L"123456");
    EXPECT_TRUE(window.waitForState(1, L"Done: 404"));
    EXPECT_TRUE(window.waitForState(2, L"Failed: 13, "));
    EXPECT_EQ(window.row(2).size, L"");
    EXPECT_EQ(window.row(3).url, L"gopher://example.org/");
    EXPECT_TRUE(window.waitForState(3, L"Refused"));
    EXPECT_TRUE(window.waitForState(4, L"Fetching"));
    EXPECT_EQ(window.rowCount(), 5);
    EXPECT_NE(window.log().find(L"ERROR  LumNetworking::"), std::wstring::npos) << window.log().size();
    pauseForPicture();

    window.typeUrls({releasing(key)});
    window.pressFetch();
    EXPECT_TRUE(window.waitForState(4, L"Done: 200"));
    EXPECT_EQ(window.close(), 0);
}

TEST(DesktopWindowTest, ShowsAStalledRequestAsCancelledWhenItEnds)
{
    DesktopWindow window;
    const std::string first = TestServers::newKey();
    const std::string second = TestServers::newKey();
    window.typeUrls({stalling(first), stalling(second)});
    window.pressFetch();
    ASSERT_TRUE(window.waitForState(1, L"Fetching"));
    window.select(0);
    window.pressCancel();
    EXPECT_EQ(window.row(0).state, L"Cancelling");
    EXPECT_EQ(window.row(1).state, L"Fetching") << "nobody chose it";

    window.typeUrls({releasing(first), releasing(second)});
    window.pressFetch();
    EXPECT_TRUE(window.waitForState(0, L"Cancelled"));
    EXPECT_EQ(window.row(0).size, L"");
    EXPECT_TRUE(window.waitForState(1, L"Done: 200"));
    EXPECT_EQ(window.close(), 0);
}

TEST(DesktopWindowTest, ClosesWhileRequestsAreUnderWay)
{
    const std::string key = TestServers::newKey();
    DesktopWindow window;
    std::vector<std::string> urls(10, stalling(key));
    urls.insert(urls.end(), 10, TestServers::scripted("/trickle?seconds=120&key=" + key));
    window.typeUrls(urls);
    window.pressFetch();
    ASSERT_TRUE(window.waitForState(19, L"Fetching"));
    EXPECT_EQ(window.close(), 0);
}

} // namespace
