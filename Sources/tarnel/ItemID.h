// tarnel/ItemID.h: a queue item's id, as the user passes it on.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include <optional>
#include <string_view>

namespace tarnel::ItemID {

/// The fingerprint whose description `text` is, as in "studio-mini/p_3#41/question/9ae0c2e1d11b0f77"; nothing when it
/// is none. The machine ends at the first slash. Pure.
std::optional<Fingerprint> parse(std::string_view text);

} // namespace tarnel::ItemID
