// TarnelCore/JSON/JSONWriter.h: JSON text, written straight into one buffer.
#pragma once
#include "TarnelCore/JSON/JSON.h"
#include <cstdint>
#include <string>
#include <string_view>

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

    void write(std::nullptr_t) { buffer += "null"; }
    void write(bool value) { buffer += value ? "true" : "false"; }
    void write(std::int64_t value);
    void write(double value); ///< One that is not finite makes the whole text "null".
    void write(std::string_view text);
    void write(const JSON& value);

    /// JSON text that was written before, taken over as it stands.
    void writeEncoded(std::string_view json) { buffer += json; }

    void beginObject() { open('{'); }
    void endObject() { close('}'); }
    void beginArray() { open('['); }
    void endArray() { close(']'); }

    /// Starts the next element of an array.
    void element() { separate(); }

    /// Starts the next member of an object; the caller writes keys in ascending order.
    void key(std::string_view name);

    /// The text; the writer is empty again.
    [[nodiscard]] std::string take();

private:
    void open(char bracket)
    {
        buffer += bracket;
        needsComma = false;
    }
    void close(char bracket)
    {
        buffer += bracket;
        needsComma = true;
    }
    void separate()
    {
        if (needsComma)
            buffer += ',';
        needsComma = true;
    }

    Slashes slashes;
    std::string buffer;
    bool needsComma = false;
    bool isUnencodable = false;
};

} // namespace tarnel
