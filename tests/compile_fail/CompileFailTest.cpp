#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <sys/wait.h>

// A log call whose format does not match its values must not compile, and for that reason only. Each file of this
// folder holds one such call, and the same call with the right format when LUM_RIGHT_FORMAT is defined: the twin must
// compile with the same compiler and the same options.
//
// The compiler is the one that LUM_TEST_COMPILER names, such as one for another system, or the one that built this
// program.

namespace {

struct Compilation {
    int status;
    std::string output;
};

struct PipeCloser {
    void operator()(std::FILE* pipe) const { pclose(pipe); }
};

std::string compiler()
{
    const char* const other = std::getenv("LUM_TEST_COMPILER");
    return other != nullptr ? other : LUM_CXX_COMPILER;
}

Compilation compile(const std::string& file, const std::string& options)
{
    const std::string command = compiler() + " -std=c++17 -Wall -Wextra -Wpedantic -Werror -I" + LUM_SOURCE_FOLDER +
                                " -fsyntax-only " + options + " " + file + " 2>&1";
    std::unique_ptr<std::FILE, PipeCloser> pipe(popen(command.c_str(), "r"));
    Compilation result{-1, {}};
    if (!pipe) {
        return result;
    }
    char buffer[4096];
    while (const std::size_t count = std::fread(buffer, 1, sizeof(buffer), pipe.get())) {
        result.output.append(buffer, count);
    }
    const int status = pclose(pipe.release());
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

std::vector<std::string> files()
{
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(LUM_COMPILE_FAIL_FOLDER)) {
        if (entry.path().filename() != "CompileFailTest.cpp") {
            found.push_back(entry.path().string());
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::size_t countOf(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

class CompileFailTest : public testing::TestWithParam<std::string> {};

TEST_P(CompileFailTest, WrongFormatDoesNotCompileForThatReasonAlone)
{
    const Compilation wrong = compile(GetParam(), "");
    EXPECT_GT(wrong.status, 0) << "compiled, or the compiler could not be run:\n" << wrong.output;
    EXPECT_NE(wrong.output.find("the log format does not match its values"), std::string::npos) << wrong.output;
    EXPECT_EQ(countOf(wrong.output, "error:"), 1U) << wrong.output;
}

TEST_P(CompileFailTest, RightFormatCompiles)
{
    const Compilation right = compile(GetParam(), "-DLUM_RIGHT_FORMAT");
    EXPECT_EQ(right.status, 0) << right.output;
    EXPECT_EQ(right.output, "");
}

INSTANTIATE_TEST_SUITE_P(LogFormat, CompileFailTest, testing::ValuesIn(files()), [](const auto& information) {
    return std::filesystem::path(information.param).stem().string();
});

TEST(CompileFailFolderTest, HoldsItsFiles)
{
    EXPECT_GE(files().size(), 8U);
}

} // namespace
