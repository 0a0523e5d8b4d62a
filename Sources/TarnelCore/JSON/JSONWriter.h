// TarnelCore/JSON/JSONWriter.h: JSON text, written straight into one buffer.
#pragma once
#include "TarnelCore/JSON/JSON.h"
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

namespace tarnel {

/// Appends JSON text to a buffer: no white space, integral numbers without fraction or exponent, other
/// numbers in the shortest form that reads back. Text that is not UTF-8 is written with U+FFFD in its place.
class JSONWriter {
public:
    /// How "/" is written inside strings: as it is, or as "\/", which some readers want.
    enum class Slashes { plain, escaped };

    explicit JSONWriter(Slashes slashes = Slashes::plain)
        : slashes(slashes)
    {
    }

    void write(std::nullptr_t) { append("null"); }
    void write(bool value) { append(value ? std::string_view("true") : std::string_view("false")); }
    /// Beyond 2 to the 53rd the next number toward zero that is also a double, which is what readers make of it.
    void write(std::int64_t value);
    void write(double value); ///< One that is not finite makes the whole text "null".
    void write(std::string_view text);
    void write(const JSON& value);

    /// JSON text that was written before, taken over as it stands.
    void writeEncoded(std::string_view json) { append(json); }

    void beginObject() { open('{'); }
    void endObject() { close('}'); }
    void beginArray() { open('['); }
    void endArray() { close(']'); }

    /// Starts the next element of an array.
    void element() { separate(); }

    /// Starts the next member of an object; the caller writes keys in ascending order.
    void key(std::string_view name);

    /// The same for a key whose text was made beforehand: `,"name":` and one byte more, which is not written.
    template <std::size_t size> void preparedKey(const std::array<char, size>& text)
    {
        const std::size_t skipped = std::exchange(needsComma, true) ? 0 : 1;
        constexpr std::size_t length = size - 1; // a constant, so that copying takes no call
        std::memcpy(room(length), text.data() + skipped, length);
        used += length - skipped;
    }

    /// The text; the writer is empty again.
    [[nodiscard]] std::string take();

private:
    void open(char bracket)
    {
        append({&bracket, 1});
        needsComma = false;
    }
    void close(char bracket)
    {
        append({&bracket, 1});
        needsComma = true;
    }
    void separate()
    {
        if (needsComma)
            append(",");
        needsComma = true;
    }

    /// The end of what is written, with at least `count` bytes of room behind it.
    char* room(std::size_t count)
    {
        if (buffer.size() - used < count)
            grow(count);
        return buffer.data() + used;
    }
    void grow(std::size_t count);
    void append(std::string_view text)
    {
        std::memcpy(room(text.size()), text.data(), text.size());
        used += text.size();
    }
    template <Slashes form> void writeText(std::string_view text);

    Slashes slashes;
    std::string buffer; // its first `used` bytes are written, the others are room
    std::size_t used = 0;
    bool needsComma = false;
    bool isUnencodable = false;
};

} // namespace tarnel
