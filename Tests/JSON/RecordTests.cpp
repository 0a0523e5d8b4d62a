#include "TarnelCore/JSON/Record.h"
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace tarnel {

namespace {

using namespace std::string_view_literals;

enum class Color { red, green };
constexpr auto namesOf(Color) { return std::array{"red"sv, "green"sv}; }

struct Point {
    std::int64_t x = 0;
    double weight = 0;
    bool operator==(const Point&) const = default;
    static constexpr auto fields() { return std::tuple{Field{"x", &Point::x}, Field{"weight", &Point::weight}}; }
};

struct Moved {
    static constexpr std::string_view caseName = "moved";
    Point to;
    bool operator==(const Moved&) const = default;
    static constexpr auto fields() { return std::tuple{Field{"_0", &Moved::to}}; }
};

struct Gone {
    static constexpr std::string_view caseName = "gone";
    bool operator==(const Gone&) const = default;
    static constexpr auto fields() { return std::tuple{}; }
};

struct Shape {
    std::string name;
    Color color = Color::red;
    std::vector<Point> points;
    std::optional<std::string> note;
    std::optional<Timestamp> at;
    std::map<std::string, Point> byName;
    std::variant<Moved, Gone> event;
    bool operator==(const Shape&) const = default;
    static constexpr auto fields()
    {
        return std::tuple{Field{"name", &Shape::name}, Field{"color", &Shape::color}, Field{"points", &Shape::points},
            Field{"note", &Shape::note}, Field{"at", &Shape::at}, Field{"byName", &Shape::byName},
            Field{"event", &Shape::event}};
    }
};

TEST(Record, writesSortedKeysAndLeavesOutWhatIsAbsent)
{
    const Shape bare{.name = "a/b", .color = Color::green, .event = Gone{}};
    EXPECT_EQ(encoded(bare), R"({"byName":{},"color":"green","event":{"gone":{}},"name":"a/b","points":[]})");
    const Shape full{.name = "f",
        .points = {{1, 0.5}},
        .note = "n",
        .at = parseISO8601("2026-11-16T21:02:03Z"),
        .byName = {{"k", {2, 3}}},
        .event = Moved{{4, 5}}};
    EXPECT_EQ(encoded(full),
        R"({"at":"2026-11-16T21:02:03Z","byName":{"k":{"weight":3,"x":2}},"color":"red",)"
        R"("event":{"moved":{"_0":{"weight":5,"x":4}}},"name":"f","note":"n","points":[{"weight":0.5,"x":1}]})");
    EXPECT_EQ(decode<Shape>(JSON::parse(encoded(full))), full);
    EXPECT_EQ(decode<Shape>(jsonValue(bare)), bare);
    EXPECT_TRUE(jsonValue(Point{1, std::nan("")}).isNull());
}

TEST(Record, integersReadBackAsTheyAreWritten)
{
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    struct Case {
        std::int64_t value;
        std::int64_t written;
    };
    const Case cases[] = {{0, 0}, {-7, -7}, {9007199254740992, 9007199254740992},
        {-9007199254740993, -9007199254740992}, {4999999999999999995, 4999999999999998976}, {most, 9223372036854774784},
        {-most - 1, -most - 1}};
    for (const Case& c : cases) {
        EXPECT_EQ(encoded(c.value), std::to_string(c.written));
        EXPECT_EQ(decode<std::int64_t>(JSON::parse(encoded(c.value))), c.written);
    }
}

TEST(Record, decodesStrictly)
{
    struct Case {
        const char* text;
        const char* message;
    };
    const Case cases[] = {
        {"[]", "not an object"},
        {R"({"x":1})", "missing \"weight\""},
        {R"({"x":1.5,"weight":1})", "x: not an integer"},
        {R"({"x":null,"weight":1})", "x: not an integer"},
        {R"({"x":1,"weight":"1"})", "weight: not a number"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        try {
            decode<Point>(JSON::parse(c.text));
            ADD_FAILURE() << "decoded";
        } catch (const DecodingError& error) {
            EXPECT_STREQ(error.what(), c.message);
        }
    }
    EXPECT_THROW(decode<Color>(JSON("blue")), DecodingError);
    EXPECT_THROW(decode<Timestamp>(JSON("yesterday")), DecodingError);
    EXPECT_EQ(decode<std::optional<Point>>(JSON()), std::nullopt);
    using Event = std::variant<Moved, Gone>;
    for (const char* text : {"{}", R"({"gone":{},"moved":{}})"}) {
        try {
            decode<Event>(JSON::parse(text));
            ADD_FAILURE() << "decoded " << text;
        } catch (const DecodingError& error) {
            EXPECT_STREQ(error.what(), "Invalid number of keys found, expected one.");
        }
    }
    EXPECT_THROW(decode<Event>(JSON::parse(R"({"lost":{}})")), DecodingError);
}

} // namespace

} // namespace tarnel
