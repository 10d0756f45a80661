#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace LumPlatform {

/// Collects the head of a response, status line and header fields, and judges whether it is HTTP (RFC 9112).
///
/// Curl frames the response by the same lines but is more lenient: it makes up a status for a status line that has
/// none, takes the digits at the beginning of a length for the length, and reads each line of a folded field by itself.
/// What it would so misread is refused here. That are: another first line than "HTTP/1.", digit, space and three
/// digits; a line without a colon; a Content-Length that is no number below 2^63, or several that differ; a
/// Content-Length or Transfer-Encoding that is folded, or has a blank before its colon; a folded line that follows no
/// field; and a head of more than 256 KiB.
class ResponseHead {
public:
    enum class Verdict { Incomplete, Interim, Final, Invalid };

    /// Adds a line with its line end; the empty line ends the head. The line after that begins another head. Throws
    /// std::bad_alloc.
    Verdict AddLine(std::string_view line);

    void Clear();

    /// Whether the next line is a status line.
    bool IsAtStart() const { return state == State::Empty || state == State::Complete; }

    bool IsComplete() const { return state == State::Complete; }
    long Status() const { return status; }

    /// The lines so far, folded ones unfolded, with CRLF line ends; a complete head ends in an empty line.
    const std::string& Block() const { return block; }

    /// The value of the first Location field; empty if there is none.
    std::string_view Location() const;

    bool SetsCookies() const { return setsCookies; }

private:
    enum class State { Empty, StatusLine, Fields, FramingField, Complete };

    Verdict Begin(std::string_view line);
    Verdict AddField(std::string_view line);
    Verdict AddFolded(std::string_view line);
    Verdict End();
    bool AddText(std::string_view line);
    bool TakeFraming(std::string_view name, std::string_view value);
    bool TakeContentLength(std::string_view value);

    State state = State::Empty;
    long status = 0;
    std::string block;
    /// Where in the block the value of Location begins.
    std::size_t locationStart = 0;
    bool setsCookies = false;
    std::optional<std::uint64_t> contentLength;
};

} // namespace LumPlatform
