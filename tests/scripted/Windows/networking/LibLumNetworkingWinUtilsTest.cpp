#include "Windows/networking/LibLumNetworkingWinUtils.h"

#include "scripted/Windows/networking/ScriptedRequest.h"

namespace {

using LumTests::Scripted::ExpectedFailure;
using LumTests::Scripted::expectError;
using LumTests::Scripted::expectFailureRecord;
using LumTests::Scripted::kHelperFile;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using namespace LumNetworking::LibLumNetworkingWinUtils;

class LibLumNetworkingWinUtilsTest : public testing::Test {
protected:
    LibLumNetworkingWinUtilsTest() { leaveAnError(); }

    ~LibLumNetworkingWinUtilsTest() override
    {
        EXPECT_EQ(platform.heldBuffers(), 0);
        EXPECT_EQ(platform.heldModules(), 0);
    }

    void leaveAnError() { error = std::make_unique<LumUtils::LumError>("left over", 99); }

    void expectReported(DWORD platformCode, const ExpectedFailure& expected)
    {
        ASSERT_EQ(platformCode, expected.platformCode);
        expectError(error.get(), expected);
        ASSERT_EQ(recorder->records().size(), 1U);
        expectFailureRecord(recorder->records()[0], expected);
    }

    void expectSilent() const
    {
        EXPECT_EQ(error, nullptr) << "an error that was left there is dropped";
        EXPECT_THAT(recorder->records(), IsEmpty());
    }

    std::map<std::string, std::string> headersOf(const std::u16string& block)
    {
        platform.headerBlock = block;
        leaveAnError();
        std::map<std::string, std::string> headers = GetResponseHeaders(recorder, request, error);
        expectSilent();
        return headers;
    }

    LumTests::ScriptedPlatform platform;
    const std::shared_ptr<LumTests::RecordingLogger> recorder = std::make_shared<LumTests::RecordingLogger>();
    const HINTERNET request = platform.open("request");
    std::unique_ptr<LumUtils::ILumError> error;
};

TEST_F(LibLumNetworkingWinUtilsTest, DescriptionIsThePlatformsTextTrimmed)
{
    platform.texts[12029] = "\r\n A connection could not be made.\t\r\n";
    SetLastError(12029);
    DWORD code = 0;
    EXPECT_EQ(GetWinHttpErrorDescription(code), "A connection could not be made.");
    EXPECT_EQ(code, 12029U);
    EXPECT_THAT(platform.calls("FormatMessageA"),
                ElementsAre("FormatMessageA(flags=0x1b00, source=set, code=12029, language=0x400, buffer=set, size=0, "
                            "arguments=null)"));
    EXPECT_THAT(platform.calls("LoadLibraryW"), ElementsAre("LoadLibraryW(\"winhttp.dll\")"));
    EXPECT_THAT(platform.calls("LocalFree"), ElementsAre("LocalFree(set)"));
    EXPECT_THAT(platform.calls("FreeLibrary"), ElementsAre("FreeLibrary(set)"));
}

TEST_F(LibLumNetworkingWinUtilsTest, DescriptionOfANumberWithoutATextNamesIt)
{
    for (const DWORD number : {0U, 1U, 54321U, 4294967295U}) {
        platform.numbersWithoutText = {number};
        SetLastError(number);
        DWORD code = 7;
        EXPECT_EQ(GetWinHttpErrorDescription(code), "Unknown error code " + std::to_string(number));
        EXPECT_EQ(code, number);
    }
    EXPECT_EQ(platform.heldModules(), 0);
}

TEST_F(LibLumNetworkingWinUtilsTest, DescriptionSurvivesAModuleThatCannotBeLoaded)
{
    platform.failCall("LoadLibraryW", 1, 126);
    SetLastError(12002);
    DWORD code = 0;
    EXPECT_EQ(GetWinHttpErrorDescription(code), "text of 12002");
    EXPECT_EQ(code, 12002U) << "the number is read before any other call";
}

TEST_F(LibLumNetworkingWinUtilsTest, ReportPutsTheErrorInTheSlotAndLogsForTheGivenPlace)
{
    SetLastError(12007);
    ReportWinHttpError(recorder, 42, "SomeCall", error, "src/given/File.cpp", "given::function", 4711);
    expectReported(12007, {42, 12007, "SomeCall", "src/given/File.cpp", "given::function", 4711});
}

TEST_F(LibLumNetworkingWinUtilsTest, ReportWithoutALoggerStillGivesTheError)
{
    SetLastError(12007);
    ReportWinHttpError(nullptr, 42, "SomeCall", error, "file", "function", 1);
    expectError(error.get(), {42, 12007, "", "", "", 0});
}

TEST_F(LibLumNetworkingWinUtilsTest, PercentSignsInTheTextAreNoConversions)
{
    platform.texts[5] = "100%s %n";
    SetLastError(5);
    ReportWinHttpError(recorder, 13, "Call", error, "file", "function", 1);
    ASSERT_EQ(recorder->records().size(), 1U);
    EXPECT_EQ(recorder->records()[0].message,
              "Call Failed with error description: " + LumTests::Scripted::errorText(13, 5, "100%s %n"));
}

TEST_F(LibLumNetworkingWinUtilsTest, TimeoutIsSetAndTheSlotEmptied)
{
    EXPECT_TRUE(SetTimeoutForRequest(recorder, request, 30, error));
    EXPECT_THAT(platform.calls(), ElementsAre("WinHttpSetOption(request, option=3, value=30000, size=4)"));
    expectSilent();
    EXPECT_TRUE(SetTimeoutForRequest(recorder, request, 0, error));
    EXPECT_EQ(platform.calls().back(), "WinHttpSetOption(request, option=3, value=0, size=4)");
}

TEST_F(LibLumNetworkingWinUtilsTest, TimeoutThatCannotBeSetIsReported)
{
    platform.failCall("WinHttpSetOption", 1, ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(SetTimeoutForRequest(recorder, request, 30, error));
    expectReported(ERROR_INVALID_PARAMETER,
                   {12, ERROR_INVALID_PARAMETER, "WinHttpSetOption", kHelperFile, "SetTimeoutForRequest", 128});
}

TEST_F(LibLumNetworkingWinUtilsTest, RedirectPolicyIsSetAndTheSlotEmptied)
{
    EXPECT_TRUE(SetShouldFollowRedirectsForRequest(recorder, request, true, error));
    expectSilent();
    EXPECT_TRUE(SetShouldFollowRedirectsForRequest(recorder, request, false, error));
    EXPECT_THAT(platform.calls(), ElementsAre("WinHttpSetOption(request, option=88, value=2, size=4)",
                                              "WinHttpSetOption(request, option=88, value=0, size=4)"));
}

TEST_F(LibLumNetworkingWinUtilsTest, RedirectPolicyThatCannotBeSetIsReported)
{
    platform.failCall("WinHttpSetOption", 1, ERROR_INVALID_HANDLE);
    EXPECT_FALSE(SetShouldFollowRedirectsForRequest(recorder, request, true, error));
    expectReported(ERROR_INVALID_HANDLE, {12, ERROR_INVALID_HANDLE, "WinHttpSetOption", kHelperFile,
                                          "SetShouldFollowRedirectsForRequest", 143});
}

TEST_F(LibLumNetworkingWinUtilsTest, StatusCodeIsReadAndTheSlotEmptied)
{
    platform.status = 503;
    EXPECT_EQ(GetHttpStatusCode(recorder, request, error), 503);
    expectSilent();
    EXPECT_THAT(platform.calls(),
                ElementsAre("WinHttpQueryHeaders(request, level=0x20000013, name=null, buffer=set, size=4, "
                            "index=null)"));
}

TEST_F(LibLumNetworkingWinUtilsTest, StatusCodeThatCannotBeReadIsZeroAndReported)
{
    platform.failCall("WinHttpQueryHeaders", 1, ERROR_WINHTTP_INCORRECT_HANDLE_STATE);
    EXPECT_EQ(GetHttpStatusCode(recorder, request, error), 0);
    expectReported(
        ERROR_WINHTTP_INCORRECT_HANDLE_STATE,
        {13, ERROR_WINHTTP_INCORRECT_HANDLE_STATE, "WinHttpQueryHeaders", kHelperFile, "GetHttpStatusCode", 112});
}

TEST_F(LibLumNetworkingWinUtilsTest, QueriedStatusCodeReportsNothing)
{
    platform.failCall("WinHttpQueryHeaders", 1, ERROR_WINHTTP_INCORRECT_HANDLE_STATE);
    DWORD status = 7;
    EXPECT_FALSE(QueryHttpStatusCode(request, status));
    EXPECT_EQ(GetLastError(), ERROR_WINHTTP_INCORRECT_HANDLE_STATE);
    EXPECT_THAT(recorder->records(), IsEmpty());
    EXPECT_TRUE(QueryHttpStatusCode(request, status));
    EXPECT_EQ(status, 200U);
}

TEST_F(LibLumNetworkingWinUtilsTest, HeadersAreMeasuredAndThenRead)
{
    platform.headerBlock = u"A: 1\r\n\r\n";
    GetResponseHeaders(recorder, request, error);
    EXPECT_THAT(platform.calls("WinHttp"),
                ElementsAre("WinHttpQueryHeaders(request, level=0x16, name=null, buffer=null, size=0, index=null)",
                            "WinHttpQueryHeaders(request, level=0x16, name=null, buffer=set, size=18, index=null)"));
}

TEST_F(LibLumNetworkingWinUtilsTest, HeaderBlockIsReadLineByLine)
{
    EXPECT_THAT(headersOf(u"HTTP/1.1 200 OK\r\nA: 1\r\nB:2\r\n\r\n"), ElementsAre(Pair("A", "1"), Pair("B", "2")));
    EXPECT_THAT(headersOf(u"HTTP/1.1 200 OK\r\n\r\n"), IsEmpty());
    EXPECT_THAT(headersOf(u""), IsEmpty());
    EXPECT_THAT(headersOf(u"A: 1"), ElementsAre(Pair("A", "1"))) << "no line end";
    EXPECT_THAT(headersOf(u"A: 1\nB: 2\n"), ElementsAre(Pair("A", "1"), Pair("B", "2"))) << "bare line feeds";
    EXPECT_THAT(headersOf(u"A\r\nB: 2\r\n"), ElementsAre(Pair("B", "2"))) << "no colon";
    EXPECT_THAT(headersOf(u"A:\r\nB: \r\n"), ElementsAre(Pair("A", ""), Pair("B", ""))) << "no value";
    EXPECT_THAT(headersOf(u":1\r\n : v\r\n"), ElementsAre(Pair("", "v"))) << "no name";
    EXPECT_THAT(headersOf(u" A \t:\t 1 2 \r\n"), ElementsAre(Pair("A", "1 2"))) << "trimmed";
    EXPECT_THAT(headersOf(u"A: b:c::\r\n"), ElementsAre(Pair("A", "b:c::"))) << "the first colon";
    EXPECT_THAT(headersOf(u"A: 1\r\nB\r\nC\r\nD: 2"), ElementsAre(Pair("A", "1"), Pair("D", "2")));
    EXPECT_THAT(headersOf(u"Set-Cookie: a\r\nSet-Cookie: b\r\n"), ElementsAre(Pair("Set-Cookie", "b")))
        << "the last of a repeated name";
    EXPECT_THAT(headersOf(u"b: 1\r\nB: 2\r\nA: 3\r\n"), ElementsAre(Pair("A", "3"), Pair("B", "2"), Pair("b", "1")))
        << "byte-wise order, with their case";
    EXPECT_THAT(headersOf(u"X: \u00FC\u20AC\U0001F600\r\n"),
                ElementsAre(Pair("X", "\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80")));
}

TEST_F(LibLumNetworkingWinUtilsTest, HeaderTextThatCannotBeConvertedGivesNoHeaders)
{
    EXPECT_THAT(headersOf(std::u16string(u"A: 1\r\nB: ") + char16_t{0xD800} + u"\r\n"), IsEmpty());
}

TEST_F(LibLumNetworkingWinUtilsTest, ManyAndLongHeadersAreRead)
{
    std::u16string block = u"HTTP/1.1 200 OK\r\n";
    for (char16_t index = 0; index < 300; ++index) {
        block += u"X-";
        block += static_cast<char16_t>(u'A' + index / 26);
        block += static_cast<char16_t>(u'a' + index % 26);
        block += u": v\r\n";
    }
    block += u"Long: " + std::u16string(60 * 1024, u'x') + u"\r\n\r\n";
    const std::map<std::string, std::string> headers = headersOf(block);
    EXPECT_EQ(headers.size(), 301U);
    EXPECT_EQ(headers.at("Long"), std::string(60 * 1024, 'x'));
}

TEST_F(LibLumNetworkingWinUtilsTest, SizeQueryThatFailsOtherwiseIsReported)
{
    platform.failCall("WinHttpQueryHeaders", 1, ERROR_WINHTTP_INCORRECT_HANDLE_STATE);
    EXPECT_THAT(GetResponseHeaders(recorder, request, error), IsEmpty());
    expectReported(
        ERROR_WINHTTP_INCORRECT_HANDLE_STATE,
        {13, ERROR_WINHTTP_INCORRECT_HANDLE_STATE, "WinHttpQueryHeaders", kHelperFile, "GetResponseHeaders", 95});
    EXPECT_EQ(platform.countOf("WinHttpQueryHeaders"), 1);
}

TEST_F(LibLumNetworkingWinUtilsTest, ReadThatFailsIsReported)
{
    platform.failCall("WinHttpQueryHeaders", 2, ERROR_INSUFFICIENT_BUFFER);
    EXPECT_THAT(GetResponseHeaders(recorder, request, error), IsEmpty());
    expectReported(ERROR_INSUFFICIENT_BUFFER,
                   {13, ERROR_INSUFFICIENT_BUFFER, "WinHttpQueryHeaders", kHelperFile, "GetResponseHeaders", 98});
}

} // namespace
