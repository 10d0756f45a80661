#include "Cases.h"
#include "Peers.h"
#include "Stopwatch.h"
#include "common/utils/LumTextUtils.h"

#include <random>
#include <stdexcept>

namespace LumBench {

namespace {

constexpr double kGiga = 1e9;
constexpr std::size_t kBytes = std::size_t{64} << 10U;

using LumUtils::WideString;

/// A kind of text: what its letters are, and whether it has emoji and words of other scripts too.
struct Script {
    const char* name;
    char32_t firstLetter;
    char32_t letterCount;
    bool isMixed;
};

constexpr Script kScripts[] = {{"ASCII", 'a', 26, false},
                               {"Cyrillic", 0x430, 32, false},
                               {"CJK", 0x4E00, 0x5000, false},
                               {"mixed", 'a', 26, true}};

void append(WideString& text, char32_t codePoint)
{
    if (codePoint >= 0x10000) {
        text += static_cast<LumUtils::WideChar>(0xD7C0 + codePoint / 1024);
        text += static_cast<LumUtils::WideChar>(0xDC00 + codePoint % 1024);
    } else {
        text += static_cast<LumUtils::WideChar>(codePoint);
    }
}

/// Words of two to nine letters, as people write them: with spaces and full stops between them.
WideString textOf(const Script& script)
{
    constexpr char32_t kEmoji = 0x1F600;
    std::mt19937 random(1);
    const auto below = [&random](std::size_t limit) { return static_cast<char32_t>(random() % limit); };
    WideString text;
    while (LumUtils::utf16ToUtf8(text).size() < kBytes) {
        const Script& word = script.isMixed ? kScripts[below(3)] : script;
        const std::size_t letters = 2 + below(8);
        for (std::size_t letter = 0; letter < letters; ++letter) {
            append(text, word.firstLetter + below(word.letterCount));
        }
        if (script.isMixed && below(8) == 0) {
            append(text, kEmoji + below(80));
        }
        append(text, below(10) == 0 ? U'.' : U' ');
    }
    return text;
}

void addRows(const std::string& caseName, std::size_t bytes, const std::vector<Contestant>& contestants,
             const std::vector<double>& seconds, double goalForIcu, BenchReport& report)
{
    const auto speed = [&](std::size_t index) { return static_cast<double>(bytes) / seconds[index] / kGiga; };
    for (std::size_t index = 1; index < contestants.size(); ++index) {
        const std::string& peer = contestants[index].name;
        report.AddMoreIsBetter(caseName, peer, "GB/s", speed(0), speed(index),
                               peer == "ICU" ? std::optional<double>(goalForIcu) : std::nullopt);
    }
}

template <typename Input, typename Output, typename Call>
void measure(const std::string& caseName, std::size_t bytes, const Input& input, const Output& output, Contestant ours,
             Call TextPeer::*theirs, double goalForIcu, const BenchOptions& options, BenchReport& report)
{
    if (!options.WantsCase(caseName)) {
        return;
    }
    Output room(input.size() * 3 + 64, typename Output::value_type{});
    std::vector<Contestant> contestants{std::move(ours)};
    for (const TextPeer& peer : AllPeers().text) {
        if (!options.WantsPeer(peer.name)) {
            continue;
        }
        const std::size_t length = (peer.*theirs)(input, room.data());
        if (room.substr(0, length) != output) {
            throw std::runtime_error(peer.name + " has another result of " + caseName + " than the library");
        }
        contestants.push_back({peer.name, [&] {
                                   (peer.*theirs)(input, room.data());
                                   Keep(room.data());
                               }});
    }
    addRows(caseName, bytes, contestants, BestSeconds(contestants, options), goalForIcu, report);
}

} // namespace

void MeasureText(const BenchOptions& options, BenchReport& report)
{
    constexpr double kManyTimes = 5;
    for (const Script& script : kScripts) {
        const WideString wide = textOf(script);
        const std::string narrow = LumUtils::utf16ToUtf8(wide);
        const double goal = script.name == kScripts[0].name ? kManyTimes : 1;
        measure(std::string("UTF-8 to 16 ") + script.name, narrow.size(), narrow, wide,
                {"ours", [&] { Keep(LumUtils::utf8ToUtf16(narrow).data()); }}, &TextPeer::toUtf16, goal, options,
                report);
        measure(std::string("UTF-16 to 8 ") + script.name, narrow.size(), wide, narrow,
                {"ours", [&] { Keep(LumUtils::utf16ToUtf8(wide).data()); }}, &TextPeer::toUtf8, goal, options, report);
    }
}

} // namespace LumBench
