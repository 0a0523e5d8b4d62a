#define PCRE2_CODE_UNIT_WIDTH 8
#include "TarnelCore/Base/Regex.h"
#include <cstdio>
#include <cstdlib>
#include <pcre2.h>
#include <string>

namespace tarnel {

struct Regex::Code {
    pcre2_code* compiled = nullptr;
};

namespace {

/// One thread's room for a match, kept for the next.
pcre2_match_data* matchData(const pcre2_code* code)
{
    struct Holder {
        pcre2_match_data* data = nullptr;
        ~Holder() { pcre2_match_data_free(data); }
    };
    static thread_local Holder holder;
    constexpr std::uint32_t groups = 10;
    std::uint32_t captures = 0;
    pcre2_pattern_info(code, PCRE2_INFO_CAPTURECOUNT, &captures);
    if (!holder.data || pcre2_get_ovector_count(holder.data) <= captures) {
        pcre2_match_data_free(holder.data);
        holder.data = pcre2_match_data_create(captures < groups ? groups : captures + 1, nullptr);
    }
    return holder.data;
}

} // namespace

Regex::Regex(std::string_view pattern)
    : code(std::make_unique<Code>())
{
    int error = 0;
    PCRE2_SIZE offset = 0;
    code->compiled = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
        PCRE2_UTF | PCRE2_UCP | PCRE2_DOLLAR_ENDONLY, &error, &offset, nullptr);
    if (!code->compiled) {
        std::fprintf(stderr, "bad pattern at %zu: %.*s\n", offset, static_cast<int>(pattern.size()), pattern.data());
        std::abort();
    }
    pcre2_jit_compile(code->compiled, PCRE2_JIT_COMPLETE); // where it is not to be had, matching is only slower
}

Regex::~Regex() { pcre2_code_free(code->compiled); }

std::optional<Regex::Match> Regex::find(std::string_view text, std::size_t start) const
{
    pcre2_match_data* data = matchData(code->compiled);
    const char* bytes = text.data() ? text.data() : "";
    const int count = pcre2_match(
        code->compiled, reinterpret_cast<PCRE2_SPTR>(bytes), text.size(), start, 0, data, nullptr);
    if (count <= 0)
        return std::nullopt;
    std::uint32_t captures = 0;
    pcre2_pattern_info(code->compiled, PCRE2_INFO_CAPTURECOUNT, &captures);
    Match groups(captures + 1);
    const PCRE2_SIZE* bounds = pcre2_get_ovector_pointer(data);
    for (std::size_t i = 0; i < static_cast<std::size_t>(count) && i < groups.size(); ++i) {
        if (bounds[2 * i] != PCRE2_UNSET)
            groups[i] = std::string_view(bytes + bounds[2 * i], bounds[2 * i + 1] - bounds[2 * i]);
    }
    return groups;
}

std::string Regex::replacingAll(std::string_view text, std::string_view replacement) const
{
    std::string result;
    std::size_t done = 0;
    for (std::size_t from = 0; from <= text.size();) {
        const auto match = find(text, from);
        if (!match)
            break;
        const auto at = static_cast<std::size_t>((*match)[0].data() - text.data());
        result += text.substr(done, at - done);
        result += replacement;
        done = at + (*match)[0].size();
        from = (*match)[0].empty() ? done + 1 : done;
    }
    return result += text.substr(done);
}

} // namespace tarnel
