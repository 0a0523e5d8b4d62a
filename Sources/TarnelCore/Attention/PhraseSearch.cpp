#include "TarnelCore/Attention/PhraseSearch.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <utility>

namespace tarnel {

namespace {

bool isASCII(char c) { return static_cast<unsigned char>(c) < 0x80; }

/// Whether no scalar but `c`, ASCII and in lower case, and its upper case read as `c`. As "i" and "k" read U+0130 and
/// the Kelvin sign too.
bool standsForItself(char c) { return isASCII(c) && c != 'i' && c != 'k'; }

bool canAnchor(char c) { return standsForItself(c) && !Text::isWhitespace(static_cast<char32_t>(c)); }

/// How rare each byte is in what agents write: the letters of English text by how common they are, then all others.
constexpr auto rarity = [] {
    constexpr std::string_view letters = "etaoinsrhldcumfpgwybvkxjqz";
    std::array<std::uint8_t, 256> ranks{};
    ranks.fill(letters.size());
    for (std::size_t i = 0; i < letters.size(); ++i)
        ranks[static_cast<unsigned char>(letters[i])] = static_cast<std::uint8_t>(i);
    return ranks;
}();

/// Where in `phrase` the rarest two bytes are that can anchor it; nothing when it has none.
std::optional<std::size_t> anchorOf(std::string_view phrase)
{
    std::optional<std::size_t> best;
    int most = -1;
    for (std::size_t at = 0; at + 1 < phrase.size(); ++at) {
        if (!canAnchor(phrase[at]) || !canAnchor(phrase[at + 1]))
            continue;
        const int both =
            rarity[static_cast<unsigned char>(phrase[at])] + rarity[static_cast<unsigned char>(phrase[at + 1])];
        if (both > most) {
            best = at;
            most = both;
        }
    }
    return best;
}

/// This in a byte makes the upper case of ASCII letters their lower case, and some other bytes alike.
constexpr unsigned char fold = 0x20;

std::uint16_t foldedPair(const char* at)
{
    std::uint16_t pair = 0;
    std::memcpy(&pair, at, sizeof pair);
    return pair | (fold << 8 | fold);
}

struct Forwards {
    static Text::Scalar next(std::string_view text) { return Text::firstScalar(text); }
    static void skip(std::string_view& text, std::size_t size) { text.remove_prefix(size); }
};

struct Backwards {
    static Text::Scalar next(std::string_view text) { return Text::lastScalar(text); }
    static void skip(std::string_view& text, std::size_t size) { text.remove_suffix(size); }
};

template <class Direction> bool skipWhitespace(std::string_view& text)
{
    const std::size_t before = text.size();
    while (!text.empty()) {
        const Text::Scalar scalar = Direction::next(text);
        if (!Text::isWhitespace(scalar.value))
            break;
        Direction::skip(text, scalar.length);
    }
    return text.size() < before;
}

/// Whether `text`, read in a direction, starts with what reads as `part`.
template <class Direction> bool reads(std::string_view text, std::string_view part)
{
    while (!part.empty()) {
        const Text::Scalar wanted = Direction::next(part);
        Direction::skip(part, wanted.length);
        const bool isBehindSpace = skipWhitespace<Direction>(text);
        if (text.empty() || isBehindSpace != (wanted.value == ' '))
            return false;
        if (isBehindSpace)
            continue;
        const Text::Scalar found = Direction::next(text);
        if (found.value != wanted.value && Text::lowercased(found.value) != wanted.value)
            return false;
        Direction::skip(text, found.length);
    }
    return true;
}

} // namespace

/// Whether `screen` holds the phrase around `at`, where its `start` would be.
bool PhraseSearch::Phrase::isAt(std::string_view screen, std::size_t at) const
{
    const std::string_view whole = text;
    return reads<Forwards>(screen.substr(at), whole.substr(start))
        && reads<Backwards>(screen.substr(0, at), whole.substr(0, start));
}

PhraseSearch::PhraseSearch(const std::vector<std::string>& phrases)
{
    anchored.reserve(phrases.size());
    anchors.reserve(phrases.size());
    for (const std::string& phrase : phrases) {
        if (!phrase.empty())
            add(Text::lowercased(phrase));
    }
}

void PhraseSearch::add(std::string phrase)
{
    const std::optional<std::size_t> start = anchorOf(phrase);
    if (!start)
        return addLoose(std::move(phrase));
    const std::uint16_t pair = foldedPair(&phrase[*start]);
    if (std::none_of(anchored.begin(), anchored.end(), [&](const Phrase& other) { return other.anchor == pair; })) {
        const ByteBlock first = blockOf(phrase[*start]) | fold;
        anchors.push_back({first, blockOf(phrase[*start + 1]) | fold});
    }
    anchored.push_back({std::move(phrase), *start, pair});
}

void PhraseSearch::addLoose(std::string phrase)
{
    const std::size_t start = std::min(phrase.find_first_not_of(' '), phrase.size());
    const char first = start < phrase.size() ? phrase[start] : '\0';
    for (std::size_t byte = 0; byte < looseStarts.size(); ++byte) {
        const char c = static_cast<char>(byte);
        const bool canStart =
            isASCII(c) ? Text::lowercased(char32_t(byte)) == char32_t(first) : !standsForItself(first);
        if (canStart || start == phrase.size())
            looseStarts.set(byte);
    }
    loose.push_back({std::move(phrase), start});
}

bool PhraseSearch::isAnyIn(std::string_view text) const
{
    return (!anchored.empty() && isAnyAnchoredIn(text)) || (!loose.empty() && isAnyLooseIn(text));
}

bool PhraseSearch::isAnyAnchoredIn(std::string_view text) const
{
    std::size_t at = 0;
    for (; at + sizeof(ByteBlock) < text.size(); at += sizeof(ByteBlock)) {
        const ByteBlock first = loadBlock(text.data() + at) | fold;
        const ByteBlock second = loadBlock(text.data() + at + 1) | fold;
        BlockMarks found;
        for (const Anchor& anchor : anchors)
            found = found | (equal(first, anchor.first) & equal(second, anchor.second));
        if (found.any() && found.anyOf([&](std::size_t i) { return isAnyAnchoredAt(text, at + i); }))
            return true;
    }
    for (; at + 1 < text.size(); ++at) {
        if (isAnyAnchoredAt(text, at))
            return true;
    }
    return false;
}

/// Whether the bytes at `at` are the anchor of a phrase that is there.
bool PhraseSearch::isAnyAnchoredAt(std::string_view text, std::size_t at) const
{
    const std::uint16_t pair = foldedPair(text.data() + at);
    return std::any_of(anchored.begin(), anchored.end(),
        [&](const Phrase& phrase) { return phrase.anchor == pair && phrase.isAt(text, at); });
}

bool PhraseSearch::isAnyLooseIn(std::string_view text) const
{
    for (std::size_t at = 0; at < text.size();) {
        const Text::Scalar scalar = Text::firstScalar(text.substr(at));
        const bool canStart = looseStarts[static_cast<unsigned char>(text[at])] && !Text::isWhitespace(scalar.value);
        if (canStart
            && std::any_of(loose.begin(), loose.end(), [&](const Phrase& phrase) { return phrase.isAt(text, at); }))
            return true;
        at += scalar.length;
    }
    return false;
}

} // namespace tarnel
