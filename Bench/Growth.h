// Bench/Growth.h: how costs grow with panes and with clients.
#pragma once
#include "TarnelCore/JSON/JSON.h"

namespace tarnel::bench {

/// Measures with 1 to 1,000 panes and 1 to 256 clients: {"panes": [...], "clients": [...]}, each element an object of
/// figures.
JSON measureGrowth();

} // namespace tarnel::bench
