#include "TarnelCore/Attention/PhraseSearch.h"
#include <algorithm>
#include <limits>
#include <utility>

namespace tarnel {

namespace {

/// Of the two bytes that end at `end`.
std::size_t hash(const char* end)
{
    return (static_cast<unsigned char>(end[-2]) * 37u ^ static_cast<unsigned char>(end[-1])) & 4'095u;
}

} // namespace

PhraseSearch::PhraseSearch(std::vector<std::string> phrases)
{
    std::size_t least = std::numeric_limits<std::uint8_t>::max();
    for (std::string& phrase : phrases) {
        if (phrase.empty())
            continue;
        if (phrase.size() >= shortest)
            least = std::min(least, phrase.size());
        (phrase.size() < shortest ? shortPhrases : longPhrases).push_back(std::move(phrase));
    }
    window = least;
    shifts.fill(static_cast<std::uint8_t>(window - 1));
    for (const std::string& phrase : longPhrases) {
        for (std::size_t end = 2; end <= window; ++end) {
            std::uint8_t& shift = shifts[hash(phrase.data() + end)];
            shift = std::min(shift, static_cast<std::uint8_t>(window - end));
        }
    }
}

bool PhraseSearch::isAnyIn(std::string_view text) const
{
    if (std::any_of(shortPhrases.begin(), shortPhrases.end(),
            [&](const std::string& phrase) { return text.find(phrase) != text.npos; }))
        return true;
    if (longPhrases.empty())
        return false;
    for (std::size_t end = window; end <= text.size();) {
        const std::size_t shift = shifts[hash(text.data() + end)];
        if (shift == 0 && startsAny(text.substr(end - window)))
            return true;
        end += std::max<std::size_t>(shift, 1);
    }
    return false;
}

/// Whether `text` starts with one of the long phrases.
bool PhraseSearch::startsAny(std::string_view text) const
{
    return std::any_of(longPhrases.begin(), longPhrases.end(),
        [&](const std::string& phrase) { return phrase[0] == text[0] && text.starts_with(phrase); });
}

} // namespace tarnel
