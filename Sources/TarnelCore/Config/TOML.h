// TarnelCore/Config/TOML.h: reads and writes the subset of TOML that configuration files here use.
#pragma once
#include "TarnelCore/JSON/JSON.h"
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// A configuration that cannot be read, or a setting that cannot be written. Its text is "config line <line>:
/// <message>".
class TOMLError : public std::runtime_error {
public:
    TOMLError(int line, const std::string& message)
        : std::runtime_error("config line " + std::to_string(line) + ": " + message)
        , line(line)
        , message(message)
    {
    }

    const int line; ///< From 1; 0 when the error is about a value, not a file.
    const std::string message;
};

/// The subset: one `key = value` a line, `[table]` headers and keys with dots, strings, booleans, numbers and arrays on
/// one line, and `#` comments. A document is an object, its tables objects inside it. What other programs' files hold
/// beyond that (multi-line values, inline tables, arrays of tables, dates) is an error on its line.
/// Pure functions; thread-safe. The format: toml.io.
namespace TOML {

/// Reads a whole file. A table or an array nested deeper than 512 counts as unreadable.
/// Throws TOMLError: "expected key = value", "cannot read value for <key>" or "unsupported table header".
JSON::Object parse(std::string_view text);

/// Reads one value, without white space around it: a string, a boolean, a number or an array. Never null or an object.
std::optional<JSON> parseValue(std::string_view text);

/// Puts `value` at `path`, making the tables on the way; what is no table there is replaced. An empty path does
/// nothing.
void set(JSON::Object& table, const std::vector<std::string>& path, JSON value);

/// Writes a document: the plain keys sorted, then the tables sorted, each under its header. Keys are written bare, so
/// one that holds a dot or a space does not read back; nor does null, or an object inside an array (both become "").
std::string serialize(const JSON::Object& document);

/// The table at `path` and those inside it, as they stand in a file: an empty line, the header, the pairs, the tables.
std::string serializeTable(const JSON::Object& table, const std::string& path);

/// One value, on one line.
std::string render(const JSON& value);

/// `line` up to the first "#" that is not inside double quotes.
std::string_view stripComment(std::string_view line);

/// The pieces between the commas that are neither inside double quotes nor inside brackets; always at least one.
std::vector<std::string_view> splitArray(std::string_view text);

} // namespace TOML

} // namespace tarnel
