#include "TarnelCore/Base/Decimal.h"
#include <cmath>
#include <cstdlib>
#include <locale.h>
#include <string>
#if defined(__APPLE__)
#include <xlocale.h>
#endif

namespace tarnel {

// std::from_chars would do, but not every standard library that we build with has it for doubles.
std::optional<double> decimalNumber(std::string_view text)
{
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", locale_t{});
    if (text.empty() || text.find_first_not_of("0123456789+-.eE") != text.npos)
        return std::nullopt;
    const std::string terminated(text);
    char* end = nullptr;
    const double value = strtod_l(terminated.c_str(), &end, plain);
    if (end != terminated.c_str() + terminated.size() || !std::isfinite(value))
        return std::nullopt;
    return value;
}

} // namespace tarnel
