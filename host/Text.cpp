#include "host/Text.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>

std::string Number(double value, int decimals) {
    if (std::isnan(value)) return "-";
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    const bool bNegativeZero =
        text[0] == '-' && std::string(text).find_first_not_of("-0.") == std::string::npos;
    return bNegativeZero ? text + 1 : text;
}

std::string Clock(double seconds) {
    const long whole = std::lround(std::max(0.0, seconds));
    char text[32];
    std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    return text;
}

std::string CsvField(const std::string& text) {
    if (text.find_first_of(",\"\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) quoted += c == '"' ? "\"\"" : std::string(1, c);
    return quoted + "\"";
}

bool EqualIgnoringCase(const std::string& a, const std::string& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}
