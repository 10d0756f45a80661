#include "ProgressView.h"

#include "FetchFormat.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace LumFetch {

namespace {

constexpr std::size_t kMethodWidth = 6;
constexpr std::size_t kWidestUrl = 70;

/// What stands on a line beside the URL.
constexpr std::size_t kOtherWidth = 42;

std::string describe(const FetchState& state)
{
    if (!state.isDone) {
        std::ostringstream text;
        text << "waiting, " << std::fixed << std::setprecision(1) << state.seconds << " s";
        return text.str();
    }
    if (state.status == 0) {
        return "failed after " + FormatTime(state.seconds);
    }
    return "done: " + std::to_string(state.status) + ", " + FormatSize(state.bodySize) + ", " +
           FormatTime(state.seconds);
}

char markOf(const FetchState& state, std::size_t frame)
{
    constexpr char kSpinner[] = {'|', '/', '-', '\\'};
    if (!state.isDone) {
        return kSpinner[frame % sizeof kSpinner];
    }
    return state.status == 0 ? '!' : '*';
}

} // namespace

ProgressView::ProgressView(std::ostream& newOutput, std::optional<Terminal> newTerminal,
                           const std::vector<FetchJob>& newJobs)
    : output(newOutput), terminal(newTerminal), jobs(newJobs), writtenSeconds(jobs.size()), writtenEnd(jobs.size())
{
    for (const FetchJob& job : jobs) {
        urlWidth = std::max(urlWidth, job.url.size());
    }
    const std::size_t columns = terminal ? terminal->columns : kWidestUrl + kOtherWidth;
    const std::size_t room = columns > kOtherWidth ? columns - kOtherWidth : 1;
    urlWidth = std::min({urlWidth, kWidestUrl, room});
}

void ProgressView::Show(const std::vector<FetchState>& states)
{
    if (IsRedrawn()) {
        Redraw(states);
    } else {
        WriteChanges(states);
    }
    output.flush();
}

void ProgressView::Clear()
{
    if (drawnLines > 0) {
        output << "\x1b[" << drawnLines << "A\r\x1b[J" << std::flush;
        drawnLines = 0;
    }
}

bool ProgressView::IsRedrawn() const
{
    return terminal && jobs.size() < terminal->rows;
}

void ProgressView::Redraw(const std::vector<FetchState>& states)
{
    // One write for the whole picture, or it flickers.
    std::ostringstream picture;
    if (drawnLines > 0) {
        picture << "\x1b[" << drawnLines << "A\r";
    }
    for (std::size_t index = 0; index < jobs.size(); ++index) {
        const std::string line = std::string(1, markOf(states[index], frame)) + ' ' + Line(jobs[index], states[index]);
        picture << line.substr(0, terminal->columns - 1) << "\x1b[K\n";
    }
    output << picture.str();
    drawnLines = jobs.size();
    ++frame;
}

void ProgressView::WriteChanges(const std::vector<FetchState>& states)
{
    for (std::size_t index = 0; index < jobs.size(); ++index) {
        const FetchState& state = states[index];
        const int seconds = static_cast<int>(state.seconds);
        const bool hasEnded = state.isDone && !writtenEnd[index];
        const bool hasWaited = !state.isDone && seconds > writtenSeconds[index];
        if (hasEnded || hasWaited) {
            output << Line(jobs[index], state) << '\n';
        }
        writtenEnd[index] = state.isDone;
        writtenSeconds[index] = seconds;
    }
}

std::string ProgressView::Line(const FetchJob& job, const FetchState& state) const
{
    return AlignLeft(HttpMethodToString(job.method), kMethodWidth) + ' ' +
           AlignLeft(Shorten(Printable(job.url), urlWidth), urlWidth) + "  " + describe(state);
}

} // namespace LumFetch
