// Grok session records, in whatever pieces they grow.
#include "Fuzz/RecordText.h"
#include "Fuzz/Target.h"

namespace tarnel::fuzz {

void fuzzGrokRecord(std::string_view input) { checkRecord(RecordPlace::Kind::grok, input); }

} // namespace tarnel::fuzz
