// TarnelCore/Base/Regex.h: regular expressions over UTF-8.
#pragma once
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// A compiled pattern in Perl's syntax, with Unicode's classes for \s, \d and \w, and "^" and "$" at the ends of the
/// text only. Immutable; thread-safe. Compile it once and keep it: compiling costs far more than a match.
class Regex {
public:
    /// The groups of one match, group 0 being the whole; a group that took no part is empty with no data.
    using Match = std::vector<std::string_view>;

    /// A pattern that does not compile is a programming error: the process ends with a message.
    explicit Regex(std::string_view pattern);
    ~Regex();
    Regex(const Regex&) = delete;
    Regex& operator=(const Regex&) = delete;

    /// The first match at or after the byte offset `start`. Text that is not UTF-8 matches nothing.
    [[nodiscard]] std::optional<Match> find(std::string_view text, std::size_t start = 0) const;

    [[nodiscard]] bool matches(std::string_view text) const { return find(text).has_value(); }

    /// `text` with every match replaced by `replacement`, taken as it stands.
    [[nodiscard]] std::string replacingAll(std::string_view text, std::string_view replacement) const;

private:
    struct Code;
    std::unique_ptr<Code> code;
};

} // namespace tarnel
