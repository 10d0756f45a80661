#pragma once

#include <cctype>
#include <map>
#include <string>

namespace LumFuzz {

/// The header fields of a text as a person would read them: "name: value" in each line, trimmed, the last of one name.
/// Slow and simple on purpose: the library's reading is compared with it.
class FieldModel {
public:
    /// A line without a colon is no field.
    void AddLine(const std::string& line)
    {
        const std::size_t colon = line.find(':');
        if (colon != std::string::npos) {
            fields[Trimmed(line.substr(0, colon))] = Trimmed(line.substr(colon + 1));
        }
    }

    void AddBlock(const std::string& block)
    {
        std::string line;
        for (const char character : block) {
            if (character == '\n') {
                AddLine(line);
                line.clear();
            } else {
                line += character;
            }
        }
        AddLine(line);
    }

    const std::map<std::string, std::string>& Fields() const { return fields; }

private:
    static bool IsSpace(char character) { return std::isspace(static_cast<unsigned char>(character)) != 0; }

    static std::string Trimmed(std::string text)
    {
        while (!text.empty() && IsSpace(text.front())) {
            text.erase(0, 1);
        }
        while (!text.empty() && IsSpace(text.back())) {
            text.pop_back();
        }
        return text;
    }

    std::map<std::string, std::string> fields;
};

} // namespace LumFuzz
