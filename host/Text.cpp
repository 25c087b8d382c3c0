#include "host/Text.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <set>

std::string Number(double value, int decimals) {
    if (std::isnan(value)) return "-";
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    const bool bNegativeZero =
        text[0] == '-' && std::string(text).find_first_not_of("-0.") == std::string::npos;
    return bNegativeZero ? text + 1 : text;
}

std::string Clock(double seconds) {
    if (std::isnan(seconds)) return "-";
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

void MakeUnique(std::vector<std::string>& names) {
    const auto lowered = [](std::string name) {
        for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return name;
    };
    std::set<std::string> taken, seen;
    for (const std::string& name : names) taken.insert(lowered(name));
    for (std::string& name : names) {
        const std::string wanted = lowered(name);
        if (seen.insert(wanted).second) continue;
        int number = 2;
        while (!taken.insert(wanted + " " + std::to_string(number)).second) ++number;
        name += " " + std::to_string(number);
    }
}
