// Fuzz/RecordText.h: what must hold of every agent's record, however it was written.
#pragma once
#include "TarnelCore/Records/RecordPlace.h"
#include <string_view>

namespace tarnel::fuzz {

/// Reads `text` whole, and from a file that grows by pieces, shrinks and grows again: with windows that hold it whole
/// and with small ones. Every reading must give what one gives that knows nothing from before.
void checkRecord(RecordPlace::Kind kind, std::string_view text);

} // namespace tarnel::fuzz
