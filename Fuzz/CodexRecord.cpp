// Codex session records, in whatever pieces they grow.
#include "Fuzz/RecordText.h"
#include "Fuzz/Target.h"

namespace tarnel::fuzz {

void fuzzCodexRecord(std::string_view input) { checkRecord(RecordPlace::Kind::codex, input); }

} // namespace tarnel::fuzz
