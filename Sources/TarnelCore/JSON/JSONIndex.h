// TarnelCore/JSON/JSONIndex.h: where the parts of a JSON text stand.
//
// Building a tree of a text, or even unescaping its strings, costs more than all else that is done with most of it. So
// a text is only checked, and the places of its parts are noted down; what is asked for is then decoded from the text.
#pragma once
#include "TarnelCore/JSON/JSONEscapes.h"
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace tarnel {

/// A checked JSON text and its parts by number, in the order of the text: each bracket, comma and colon, and each
/// string, number and literal is one. The text's value is part 0; a member's value is the second part behind its key.
/// Lifetime: the text stays with whoever gave it, for as long as it is asked for. Thread-safety: none.
class JSONIndex {
public:
    using Part = std::uint32_t;

    JSONIndex();
    ~JSONIndex();
    JSONIndex(const JSONIndex&) = delete;
    JSONIndex& operator=(const JSONIndex&) = delete;

    /// The bytes that must be readable behind a text, whatever they hold.
    static constexpr std::size_t padding = 64;

    /// Takes another text. Returns whether it is JSON by the rules of `JSON::parse`; if not, there are no parts.
    bool read(std::string_view padded);

    /// The first character of a part, which tells what it is.
    [[nodiscard]] char first(Part part) const { return text[starts[part]]; }
    /// A number or a literal as it is written.
    [[nodiscard]] std::string_view written(Part scalar) const
    {
        const std::size_t start = starts[scalar];
        std::size_t end = starts[scalar + 1];
        while (isSpace(text[end - 1]))
            --end;
        return {text + start, end - start};
    }
    /// The inside of a string as it is written, with its escapes.
    [[nodiscard]] std::string_view raw(Part string) const
    {
        const std::string_view quoted = written(string);
        return quoted.substr(1, quoted.size() - 2);
    }
    /// What a string stands for: in the text, or in memory that lives until the next text.
    [[nodiscard]] std::string_view string(Part string)
    {
        if (ends[string] != 0)
            return strings[ends[string] - 1];
        const std::string_view inside = raw(string);
        return JSONEscapes::isIn(inside) ? unescaped(string, inside) : inside;
    }

    /// The first key or element of an object or array; 0 when there is none.
    [[nodiscard]] Part firstChild(Part container) const { return ends[container] == container + 1 ? 0 : container + 1; }
    /// The next key or element behind that whose value is `value`; 0 when there is none.
    [[nodiscard]] Part nextChild(Part value) const
    {
        const char start = first(value);
        const Part behind = (start == '{' || start == '[' ? ends[value] : value) + 1;
        return first(behind) == ',' ? behind + 1 : 0;
    }

    /// The length of text for which there is memory.
    [[nodiscard]] std::size_t capacity() const { return room; }
    /// Gives the memory back.
    void clear();

private:
    struct Scanner;

    bool makeRoom(std::size_t length);
    bool areParts();
    bool isScalar(Part part) const;
    std::string_view unescaped(Part string, std::string_view inside);
    static bool isSpace(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }

    std::unique_ptr<Scanner> scanner;
    std::size_t room = 0;
    const char* text = nullptr;
    const std::uint32_t* starts = nullptr; // of the parts, and then the text's length
    Part count = 0;
    std::vector<Part>
        ends; // of objects and arrays: the closing bracket; of unescaped strings: their place in `strings`
    std::vector<std::string_view> strings;
    std::unique_ptr<char[]> memory; // of the strings
    char* memoryEnd = nullptr; // behind the last one
};

} // namespace tarnel
