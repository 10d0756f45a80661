#pragma once

#include <future>

namespace LumTests {

/// Lets what waits go on, at the latest when it is destroyed, so that a test that is left early leaves nobody waiting.
/// Declare it after the exchanges whose callbacks wait: they wait for these when they are destroyed.
class Hold {
public:
    Hold() = default;
    ~Hold() { LetGo(); }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

    /// What is to be waited for; a callback keeps a copy, which outlives the hold.
    std::shared_future<void> Released() const { return released; }

    void LetGo()
    {
        if (!isReleased) {
            isReleased = true;
            release.set_value();
        }
    }

private:
    bool isReleased = false;
    std::promise<void> release;
    const std::shared_future<void> released = release.get_future().share();
};

} // namespace LumTests
