#include "Bench/Options.h"
#include "Bench/Servers.h"
#include <map>
#include <string_view>

namespace tarnel::bench {

bool parse(int count, char** values, Options& options)
{
    std::string repetitions = std::to_string(options.repetitions);
    const std::map<std::string_view, std::string*> places{{"--goals", &options.goals}, {"--report", &options.report},
        {"--growth", &options.growth}, {"--repetitions", &repetitions}, {"--daemon", &programs().daemon},
        {"--hello", &programs().hello}};
    for (int i = 1; i < count; i += 2) {
        const auto place = places.find(values[i]);
        if (place == places.end() || i + 1 == count)
            return false;
        *place->second = values[i + 1];
    }
    const bool isNumber = !repetitions.empty() && repetitions.find_first_not_of("0123456789") == repetitions.npos;
    if (isNumber)
        options.repetitions = std::stoi(repetitions);
    return isNumber && !options.goals.empty() && !programs().daemon.empty() && !programs().hello.empty();
}

} // namespace tarnel::bench
