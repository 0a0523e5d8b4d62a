// TarnelCore/JSON/JSONDocument.h: JSON text decoded in place, read through views without building values.
#pragma once
#include "TarnelCore/JSON/JSON.h"
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

    /// Calls `visit(key, value)` for every member in the text's order, repeated keys included; nothing for another case.
    template <class Visit>
    void forEachMember(Visit visit) const
    {
        for (Cursor at = firstMember(); at; at = nextMember(*at))
            visit(at->key, at->value());
    }

    /// Calls `visit(value)` for every element in order; nothing for another case.
    template <class Visit>
    void forEachElement(Visit visit) const
    {
        for (std::optional<Element> at = firstElement(); at; at = nextElement(*at))
            visit(at->value());
    }

    /// The value as a tree of its own.
    [[nodiscard]] JSON value() const;

private:
    friend class JSONDocument;
    using Storage = std::array<std::uintptr_t, 2>; // the decoder's own handle, opaque here

    struct Position {
        Storage at;
        Storage end;
    };
    struct MemberPosition : Position {
        std::string_view key;
        [[nodiscard]] JSONView value() const;
    };
    struct Element : Position {
        [[nodiscard]] JSONView value() const;
    };
    using Cursor = std::optional<MemberPosition>;

    explicit JSONView(const Storage& decoded)
        : storage(decoded)
    {
    }
    void findMembers(std::span<const std::string_view> keys, std::span<std::optional<JSONView>> found) const;
    [[nodiscard]] Cursor firstMember() const;
    [[nodiscard]] static Cursor nextMember(const MemberPosition& previous);
    [[nodiscard]] std::optional<Element> firstElement() const;
    [[nodiscard]] static std::optional<Element> nextElement(const Element& previous);

    Storage storage;
};

/// A decoder with the memory of the last text that it decoded. The rules of `JSON::parse` hold.
/// Thread-safety: none; `shared` gives each thread its own.
class JSONDocument {
public:
    JSONDocument();
    ~JSONDocument();
    JSONDocument(const JSONDocument&) = delete;
    JSONDocument& operator=(const JSONDocument&) = delete;

    /// The bytes that must be readable, whatever they hold, behind a text given to `parsePadded`.
    static constexpr std::size_t padding = 64;

    /// Decodes `text`; nothing when it is not JSON. The views of the text before end here. The text may go.
    std::optional<JSONView> parse(std::string_view text);

    /// The same without a copy, for a text with `padding` readable bytes behind it.
    std::optional<JSONView> parsePadded(std::string_view text);

    /// Gives back the memory that a large text has taken, for a thread that may be idle for long. The views of the text
    /// before end here.
    void shrink();

    /// The calling thread's document, for texts that are read and forgotten before the next is decoded.
    static JSONDocument& shared();

private:
    struct Decoder;
    std::optional<JSONView> decode(std::string_view text, bool isPadded);

    std::unique_ptr<Decoder> decoder;
};

} // namespace tarnel
