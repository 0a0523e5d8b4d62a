// TarnelCore/JSON/JSONDocument.h: JSON text decoded in place, read through views without building values.
#pragma once
#include "TarnelCore/JSON/JSON.h"
#include "TarnelCore/JSON/JSONIndex.h"
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

namespace tarnel {

/// The number cut off toward zero; nothing when it is not finite or does not fit a signed 64-bit integer.
std::optional<std::int64_t> truncatedInteger(double value);

/// One value inside a decoded text. A handle: cheap to copy, valid until its document decodes again or goes.
/// None of the accessors fails; a mismatch yields nothing.
class JSONView {
public:
    [[nodiscard]] bool isNull() const;
    [[nodiscard]] bool isObject() const;
    [[nodiscard]] bool isArray() const;
    [[nodiscard]] std::optional<bool> boolean() const;
    [[nodiscard]] std::optional<double> number() const;
    [[nodiscard]] std::optional<std::int64_t> integer() const;
    /// Text that lives in the document.
    [[nodiscard]] std::optional<std::string_view> string() const;

    /// The member under `key`, the last one of a repeated key; nothing when this is no object or has none.
    [[nodiscard]] std::optional<JSONView> operator[](std::string_view key) const;

    /// The members under `keys`, in the order of the keys, in one pass over the object.
    template <std::size_t count>
    [[nodiscard]] std::array<std::optional<JSONView>, count> members(const std::string_view (&keys)[count]) const
    {
        std::array<std::optional<JSONView>, count> found;
        findMembers(keys, found);
        return found;
    }

    /// Calls `visit(key, value)` for every member in the text's order, repeated keys included; nothing for another
    /// case.
    template <class Visit> void forEachMember(Visit visit) const
    {
        for (Part key = firstChild('{'); key != 0; key = index->nextChild(key + 2))
            visit(index->string(key), valueUnder(key));
    }

    /// Calls `visit(value)` for every element in order; nothing for another case.
    template <class Visit> void forEachElement(Visit visit) const
    {
        for (Part at = firstChild('['); at != 0; at = index->nextChild(at))
            visit(JSONView(*index, at));
    }

    /// The value as a tree of its own.
    [[nodiscard]] JSON value() const;

private:
    friend class JSONDocument;
    using Part = JSONIndex::Part;

    JSONView(JSONIndex& decoded, Part value)
        : index(&decoded)
        , part(value)
    {
    }
    void findMembers(std::span<const std::string_view> keys, std::span<std::optional<JSONView>> found) const;
    [[nodiscard]] JSONView valueUnder(Part key) const { return {*index, key + 2}; }
    /// The first key or element; 0 when there is none, and for other cases than `start`, which is the bracket.
    [[nodiscard]] Part firstChild(char start) const
    {
        return index->first(part) == start ? index->firstChild(part) : 0;
    }

    JSONIndex* index;
    Part part;
};

/// A decoder with the memory of the last text that it decoded, or its place. The rules of `JSON::parse` hold.
/// Thread-safety: none; `shared` gives each thread its own.
class JSONDocument {
public:
    JSONDocument() = default;
    JSONDocument(const JSONDocument&) = delete;
    JSONDocument& operator=(const JSONDocument&) = delete;

    /// The bytes that must be readable, whatever they hold, behind a text given to `parsePadded`.
    static constexpr std::size_t padding = JSONIndex::padding;

    /// Decodes `text`; nothing when it is not JSON. The views of the text before end here. The text may go.
    std::optional<JSONView> parse(std::string_view text);

    /// The same without a copy, for a text with `padding` readable bytes behind it that outlives the views.
    std::optional<JSONView> parsePadded(std::string_view text);

    /// Gives back the memory that a large text has taken, for a thread that may be idle for long. The views of the text
    /// before end here.
    void shrink();

    /// The calling thread's document, for texts that are read and forgotten before the next is decoded.
    static JSONDocument& shared();

private:
    JSONIndex index;
    std::unique_ptr<char[]> copy;
    std::size_t copyRoom = 0;
};

} // namespace tarnel
