// StartTime: the moment of a recording's first frame as SourceInfo::started tells it, taken apart.
#pragma once

#include <optional>
#include <string>

struct StartTime {
    bool hasDate = false;
    int year = 0, month = 0, day = 0;
    int hour = 0, minute = 0, second = 0;
};

/// Reads "YYYY-MM-DD hh:mm:ss" and "hh:mm:ss"; nothing for other text and for a time that no clock shows.
std::optional<StartTime> ParseStartTime(const std::string& started);
