#include "host/record/StartTime.h"

#include <string_view>

namespace {

/// The two or four digits at the front of `text`, which must end there or go on with `mark`; both are taken.
std::optional<int> TakeNumber(std::string_view& text, std::size_t digits, char mark, int lowest,
                              int highest) {
    if (text.size() < digits) return {};
    int value = 0;
    for (const char c : text.substr(0, digits)) {
        if (c < '0' || c > '9') return {};
        value = 10 * value + (c - '0');
    }
    text.remove_prefix(digits);
    if (mark != 0) {
        if (!text.starts_with(mark)) return {};
        text.remove_prefix(1);
    }
    if (value < lowest || value > highest) return {};
    return value;
}

}  // namespace

std::optional<StartTime> ParseStartTime(const std::string& started) {
    std::string_view rest = started;
    StartTime start;
    start.hasDate = rest.find('-') != std::string_view::npos;
    if (start.hasDate) {
        const auto year = TakeNumber(rest, 4, '-', 1, 9999);
        const auto month = TakeNumber(rest, 2, '-', 1, 12);
        const auto day = TakeNumber(rest, 2, ' ', 1, 31);
        if (!year || !month || !day) return {};
        start.year = *year;
        start.month = *month;
        start.day = *day;
    }
    const auto hour = TakeNumber(rest, 2, ':', 0, 23);
    const auto minute = TakeNumber(rest, 2, ':', 0, 59);
    const auto second = TakeNumber(rest, 2, 0, 0, 59);
    if (!hour || !minute || !second || !rest.empty()) return {};
    start.hour = *hour;
    start.minute = *minute;
    start.second = *second;
    return start;
}
