#include "tarnel/ItemID.h"
#include <charconv>

namespace tarnel {

std::optional<Fingerprint> ItemID::parse(std::string_view text)
{
    // From the end, where no part holds a separator; only the pane's id is free to.
    const std::size_t beforeHash = text.rfind('/');
    const std::size_t beforeKind =
        beforeHash == 0 || beforeHash == text.npos ? text.npos : text.rfind('/', beforeHash - 1);
    const std::size_t beforePane = text.find('/');
    const std::size_t beforeCount = text.substr(0, beforeKind).rfind('#');
    if (beforeKind == text.npos || beforeCount == text.npos || beforePane >= beforeCount)
        return std::nullopt;
    const auto kind = enumNamed<AttentionKind>(text.substr(beforeKind + 1, beforeHash - beforeKind - 1));
    const std::string_view digits = text.substr(beforeCount + 1, beforeKind - beforeCount - 1);
    Fingerprint read;
    std::from_chars(digits.data(), digits.data() + digits.size(), read.stateChangeSeq);
    if (!kind)
        return std::nullopt;
    read.machine = text.substr(0, beforePane);
    read.paneID = text.substr(beforePane + 1, beforeCount - beforePane - 1);
    read.kind = *kind;
    read.contentHash = text.substr(beforeHash + 1);
    if (read.description() != text) // as with a count that is written otherwise
        return std::nullopt;
    return read;
}

} // namespace tarnel
