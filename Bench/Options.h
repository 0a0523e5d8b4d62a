// Bench/Options.h: the command line of tarnel-bench.
#pragma once
#include <string>

namespace tarnel::bench {

struct Options {
    std::string goals; ///< The file of limits.
    std::string report; ///< Where the JSON report goes; nowhere when empty.
    std::string pattern; ///< Of the page, see Page.h.
    std::string page; ///< Where the page goes; the growth tables are not measured when empty.
    std::string plot; ///< Where the page's plot goes.
    int repetitions = 5;
};

/// Reads what the benchmark library has left of the command line; the programs go to `programs()`. Returns false when
/// it cannot be understood.
bool parse(int count, char** values, Options& options);

} // namespace tarnel::bench
