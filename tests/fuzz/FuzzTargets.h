#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// Hostile input, one kind for each target. `./dev fuzz` makes such input up; the seeds in corpus/TARGET, one file
/// each, are where it starts from, and tests run them too.
namespace LumFuzz {

/// Thrown by a target; the text says what did not hold.
class BrokenPromise : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

inline void expect(bool holds, const std::string& promise)
{
    if (!holds) {
        throw BrokenPromise(promise);
    }
}

/// Looks whether the library keeps its promises for this input.
using Target = void (*)(std::string_view input);

void base64(std::string_view input);
void boundary(std::string_view input);
void headers(std::string_view input);
void json(std::string_view input);
void log(std::string_view input);
void response(std::string_view input);
void url(std::string_view input);
void utf(std::string_view input);

/// A target by the name of its folder of seeds.
struct NamedTarget {
    const char* name;
    Target run;
};

} // namespace LumFuzz
