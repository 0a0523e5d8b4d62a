#include "TarnelCore/Base/Timestamp.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace tarnel {

namespace {

using namespace std::chrono;

constexpr Timestamp earliest = sys_days{year{0} / January / 1};
constexpr Timestamp latest = Timestamp{sys_days{year{10000} / January / 1}} - microseconds{1};

/// Takes pieces from the front of a text; once something is missing, it stays failed.
class Scanner {
public:
    explicit Scanner(std::string_view text)
        : rest(text)
    {
    }

    int digits(std::size_t count)
    {
        if (rest.size() < count)
            return fail();
        int value = 0;
        for (const char c : rest.substr(0, count)) {
            if (c < '0' || c > '9')
                return fail();
            value = value * 10 + (c - '0');
        }
        rest.remove_prefix(count);
        return value;
    }

    bool takes(char lower, char upper)
    {
        const bool found = !rest.empty() && (rest.front() == lower || rest.front() == upper);
        if (found)
            rest.remove_prefix(1);
        return found;
    }
    bool takes(char c) { return takes(c, c); }

    void needs(char lower, char upper) { failed = !takes(lower, upper) || failed; }
    void needs(char c) { needs(c, c); }

    /// The digits after a decimal point, as microseconds; at least one digit.
    microseconds fraction()
    {
        std::int64_t value = 0;
        std::int64_t unit = 100'000;
        std::size_t count = 0;
        for (; count < rest.size() && rest[count] >= '0' && rest[count] <= '9'; ++count, unit /= 10)
            value += (rest[count] - '0') * unit;
        if (count == 0)
            fail();
        rest.remove_prefix(count);
        return microseconds{value};
    }

    /// "Z", "+01:00", "+0100" or "+01", as the distance from UTC.
    minutes offset()
    {
        if (takes('Z', 'z'))
            return minutes{0};
        const bool west = takes('-');
        if (!west)
            needs('+');
        const int hour = digits(2);
        int minute = 0;
        if (takes(':') || !rest.empty())
            minute = digits(2);
        if (hour > 23 || minute > 59)
            fail();
        const minutes distance{hour * 60 + minute};
        return west ? -distance : distance;
    }

    bool isDone() const { return !failed && rest.empty(); }

private:
    int fail()
    {
        failed = true;
        return 0;
    }

    std::string_view rest;
    bool failed = false;
};

/// Appends `value`, which has at most `width` digits.
void appendPadded(std::string& text, unsigned value, std::size_t width)
{
    text.append(width, '0');
    for (std::size_t at = text.size(); value > 0; value /= 10)
        text[--at] = static_cast<char>('0' + value % 10);
}

} // namespace

std::string iso8601(Timestamp time)
{
    time = std::clamp(time, earliest, latest);
    const sys_days day = floor<days>(time);
    const year_month_day date{day};
    const hh_mm_ss clock{floor<seconds>(time - day)};
    std::string text;
    text.reserve(20);
    appendPadded(text, static_cast<unsigned>(static_cast<int>(date.year())), 4);
    text += '-';
    appendPadded(text, static_cast<unsigned>(date.month()), 2);
    text += '-';
    appendPadded(text, static_cast<unsigned>(date.day()), 2);
    text += 'T';
    appendPadded(text, static_cast<unsigned>(clock.hours().count()), 2);
    text += ':';
    appendPadded(text, static_cast<unsigned>(clock.minutes().count()), 2);
    text += ':';
    appendPadded(text, static_cast<unsigned>(clock.seconds().count()), 2);
    text += 'Z';
    return text;
}

std::optional<Timestamp> parseISO8601(std::string_view text)
{
    Scanner scanner(text);
    const int yearNumber = scanner.digits(4);
    scanner.needs('-');
    const int monthNumber = scanner.digits(2);
    scanner.needs('-');
    const int dayNumber = scanner.digits(2);
    scanner.needs('T', 't');
    const int hour = scanner.digits(2);
    scanner.needs(':');
    const int minute = scanner.digits(2);
    scanner.needs(':');
    const int second = scanner.digits(2);
    const microseconds fraction = scanner.takes('.') ? scanner.fraction() : microseconds{0};
    const minutes offset = scanner.offset();
    const year_month_day date{year{yearNumber}, month{static_cast<unsigned>(monthNumber)},
        day{static_cast<unsigned>(dayNumber)}};
    if (!scanner.isDone() || !date.ok() || hour > 23 || minute > 59 || second > 60) // 60: a leap second
        return std::nullopt;
    return sys_days{date} + hours{hour} + minutes{minute} + seconds{second} + fraction - offset;
}

std::optional<Timestamp> timestampFromSeconds(double value)
{
    const auto limit = [](Timestamp time) { return duration<double>(time.time_since_epoch()).count(); };
    if (!(value >= limit(earliest) && value <= limit(latest))) // also false for not-a-number
        return std::nullopt;
    return Timestamp{microseconds{std::llround(value * 1e6)}};
}

} // namespace tarnel
