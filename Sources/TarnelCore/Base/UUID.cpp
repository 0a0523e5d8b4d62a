#include "TarnelCore/Base/UUID.h"
#include <cstdint>
#include <random>
#include <string_view>

namespace tarnel {

std::string randomUUID()
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::random_device random; // the system's own source
    std::string text = "xxxxxxxx-xxxx-4xxx-Vxxx-xxxxxxxxxxxx"; // 4: the version; V: the variant, two fixed bits
    std::uint32_t bits = 0;
    int left = 0;
    for (char& c : text) {
        if (c != 'x' && c != 'V')
            continue;
        if (left == 0) {
            bits = random();
            left = 8;
        }
        const std::uint32_t nibble = bits & 15;
        c = digits[c == 'V' ? 8 | (nibble & 3) : nibble];
        bits >>= 4;
        --left;
    }
    return text;
}

} // namespace tarnel
