// Claude session records, in whatever pieces they grow.
#include "Fuzz/RecordText.h"
#include "Fuzz/Target.h"

namespace tarnel::fuzz {

void fuzzClaudeRecord(std::string_view input) { checkRecord(RecordPlace::Kind::claude, input); }

} // namespace tarnel::fuzz
