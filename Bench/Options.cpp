#include "Bench/Options.h"
#include "Bench/Servers.h"
#include <algorithm>
#include <map>
#include <string_view>

namespace tarnel::bench {

bool parse(int count, char** values, Options& options)
{
    std::string repetitions = std::to_string(options.repetitions);
    const std::map<std::string_view, std::string*> places{{"--goals", &options.goals}, {"--report", &options.report},
        {"--pattern", &options.pattern}, {"--page", &options.page}, {"--plot", &options.plot},
        {"--repetitions", &repetitions}, {"--daemon", &programs().daemon}, {"--hello", &programs().hello}};
    for (int i = 1; i < count; i += 2) {
        const auto place = places.find(values[i]);
        if (place == places.end() || i + 1 == count)
            return false;
        *place->second = values[i + 1];
    }
    const bool isNumber = !repetitions.empty() && repetitions.find_first_not_of("0123456789") == repetitions.npos;
    if (isNumber)
        options.repetitions = std::max(1, std::stoi(repetitions));
    const bool isPageWhole = options.page.empty() || !(options.pattern.empty() || options.plot.empty());
    return isNumber && isPageWhole && !options.goals.empty() && !programs().daemon.empty() && !programs().hello.empty();
}

} // namespace tarnel::bench
