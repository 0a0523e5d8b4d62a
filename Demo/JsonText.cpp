#include "Demo/JsonText.h"

namespace demo {

std::string jsonString(std::string_view text)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string json = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            json += '\\';
            json += c;
        } else if (c == '\n') {
            json += "\\n";
        } else if (byte < 0x20) {
            json += "\\u00";
            json += digits[byte >> 4];
            json += digits[byte & 15];
        } else {
            json += c;
        }
    }
    return json + "\"";
}

std::string object(const std::vector<std::pair<std::string_view, std::string>>& members)
{
    std::string json;
    for (const auto& [key, value] : members)
        json += (json.empty() ? "" : ",") + jsonString(key) + ":" + value;
    return "{" + json + "}";
}

std::string array(const std::vector<std::string>& elements)
{
    std::string json;
    for (const std::string& element : elements)
        json += (json.empty() ? "" : ",") + element;
    return "[" + json + "]";
}

} // namespace demo
