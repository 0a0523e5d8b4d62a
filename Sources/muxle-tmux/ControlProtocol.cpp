#include "muxle-tmux/ControlProtocol.h"
#include "TarnelCore/Base/Text.h"
#include <utility>

namespace tarnel::tmux {

namespace {

bool isPlain(unsigned char byte)
{
    return byte >= 0x80 || (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z')
        || std::string_view(" ./-_:,@%+=").find(static_cast<char>(byte)) != std::string_view::npos;
}

bool isOctal(char digit) { return digit >= '0' && digit <= '7'; }

/// What follows `word` and a space in `text`; nothing when it does not start so.
std::optional<std::string_view> after(std::string_view word, std::string_view text)
{
    if (text.substr(0, word.size()) != word || text.size() <= word.size() || text[word.size()] != ' ')
        return std::nullopt;
    return text.substr(word.size() + 1);
}

} // namespace

void ControlParser::feed(std::string_view bytes, std::vector<ControlMessage>& messages)
{
    for (std::size_t feed = bytes.find('\n'); feed != bytes.npos; feed = bytes.find('\n')) {
        if (unfinished.empty()) {
            line(bytes.substr(0, feed), messages);
        } else {
            unfinished += bytes.substr(0, feed);
            line(std::exchange(unfinished, {}), messages);
        }
        bytes.remove_prefix(feed + 1);
    }
    unfinished += bytes;
}

void ControlParser::line(std::string_view text, std::vector<ControlMessage>& messages)
{
    if (guard) {
        const auto end = after("%end", text);
        const auto error = after("%error", text);
        if (end != guard && error != guard) { // also a line of a pane's text that only looks like an end
            block.text += text;
            block.text += '\n';
            return;
        }
        if (!block.text.empty())
            block.text.pop_back();
        block.isError = error.has_value();
        messages.emplace_back(std::exchange(block, {}));
        guard.reset();
        return;
    }
    if (const auto begin = after("%begin", text)) {
        guard = *begin;
        block.isOurs = begin->ends_with(" 1");
        return;
    }
    if (text.empty() || text.front() != '%')
        return;
    text.remove_prefix(1);
    const std::size_t space = text.find(' ');
    messages.emplace_back(ControlNotification{
        std::string(text.substr(0, space)), space == text.npos ? std::string() : std::string(text.substr(space + 1))});
}

std::string quoted(std::string_view argument)
{
    std::string text = "\"";
    text.reserve(argument.size() + 2);
    for (const char each : argument) {
        const auto byte = static_cast<unsigned char>(each);
        if (isPlain(byte)) {
            text += each;
            continue;
        }
        text += '\\';
        for (const int shift : {6, 3, 0})
            text += static_cast<char>('0' + ((byte >> shift) & 7));
    }
    return text + '"';
}

std::string formatLiteral(std::string_view text) { return Text::replacingAll(text, "#", "##"); }

std::string unescapedOutput(std::string_view text)
{
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size() && isOctal(text[i + 1]) && isOctal(text[i + 2])
            && isOctal(text[i + 3])) {
            bytes += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0'));
            i += 3;
        } else {
            bytes += text[i];
        }
    }
    return bytes;
}

} // namespace tarnel::tmux
