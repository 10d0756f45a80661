#pragma once

#include "common/utils/LumFormattingLoggerDelegate.h"

#include <atomic>
#include <functional>
#include <stdexcept>
#include <utility>

namespace LumTests {

/// A logger delegate that throws at every record, and counts them.
class ThrowingLogger : public LumUtils::LumFormattingLoggerDelegate {
public:
    /// \p code is what throws.
    explicit ThrowingLogger(std::function<void()> code = [] { throw std::runtime_error("the logger's own failure"); })
        : throwException(std::move(code))
    {
    }

    int recordCount() const { return count; }

private:
    void writeRecord(LumUtils::LumLogLevel /*level*/, const std::string& /*file*/, const std::string& /*function*/,
                     const std::string& /*message*/, unsigned int /*line*/) override
    {
        ++count;
        throwException();
    }

    const std::function<void()> throwException;
    std::atomic<int> count{0};
};

/// What a logger, or a callback, of a host may throw.
inline const std::function<void()> kHostExceptions[] = {[] { throw std::runtime_error("disk full"); },
                                                        [] { throw 42; }};

/// A callable that throws when it is copied, but not while it is put into a std::function.
class ThrowingCopy {
public:
    explicit ThrowingCopy(std::function<void()> code) : throwException(std::move(code)) {}
    ThrowingCopy(const ThrowingCopy& other) : throwException(other.throwException) { throwException(); }
    ThrowingCopy(ThrowingCopy&& other) = default;
    ThrowingCopy& operator=(const ThrowingCopy&) = delete;
    ThrowingCopy& operator=(ThrowingCopy&&) = delete;
    ~ThrowingCopy() = default;

    template <typename... Arguments>
    void operator()(Arguments&&... /*arguments*/) const
    {
    }

private:
    std::function<void()> throwException;
};

} // namespace LumTests
