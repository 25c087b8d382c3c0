#include "host/support/Text.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <set>

namespace {

/// The byte that a character of a string is, 0 to 255.
int Byte(char c) { return static_cast<unsigned char>(c); }

/// Bytes of the UTF-8 character that `text` begins with; 0 if it begins with none.
std::size_t CharacterLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return i < text.size() ? Byte(text[i]) : 0; };
    const int lead = byte(0), second = byte(1);
    if (lead < 0x80) return 1;
    const std::size_t length = lead < 0xC2 || lead > 0xF4 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    for (std::size_t i = 1; i < length; ++i)
        if ((byte(i) & 0xC0) != 0x80) return 0;
    // No character: an overlong form, half of a UTF-16 pair, or beyond U+10FFFF.
    const bool isNone = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
                        (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F);
    return isNone ? 0 : length;
}

bool IsControl(std::string_view character) {
    const int first = Byte(character.front());
    return first < 0x20 || first == 0x7F ||
           (first == 0xC2 && Byte(character.back()) < 0xA0);  // U+0080 to U+009F
}

bool StartsCharacter(char c) { return (Byte(c) & 0xC0) != 0x80; }

}  // namespace

std::string OneLine(std::string_view text) {
    std::string line;
    while (!text.empty()) {
        const std::size_t length = CharacterLength(text);
        const std::string_view character = text.substr(0, std::max<std::size_t>(length, 1));
        line += length == 0 ? "\xEF\xBF\xBD" : IsControl(character) ? " " : character;
        text.remove_prefix(character.size());
    }
    return line;
}

std::size_t CountCharacters(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), StartsCharacter));
}

std::string_view Characters(std::string_view text, std::size_t first, std::size_t count) {
    const auto skip = [](std::string_view from, std::size_t characters) {
        std::size_t bytes = 0;
        while (bytes < from.size() && (characters > 0 || !StartsCharacter(from[bytes])))
            if (StartsCharacter(from[bytes++])) --characters;
        return bytes;
    };
    text.remove_prefix(skip(text, first));
    return text.substr(0, skip(text, count));
}

std::string Number(double value, int decimals) {
    if (std::isnan(value)) return "-";
    char digits[400];  // of the largest number, and some decimals
    const char* const end =
        std::to_chars(digits, std::end(digits), value, std::chars_format::fixed, decimals).ptr;
    const std::string_view text(digits, static_cast<std::size_t>(end - digits));
    const bool isNegativeZero = text[0] == '-' && text.find_first_not_of("-0.") == std::string_view::npos;
    return std::string(isNegativeZero ? text.substr(1) : text);
}

std::string Clock(double seconds) {
    if (std::isnan(seconds)) return "-";
    const long whole = std::lround(std::max(0.0, seconds));
    char text[32];
    std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    return text;
}

std::string CsvField(const std::string& text) {
    const std::size_t first = text.find_first_not_of(' ');
    const bool isFormula =
        first != std::string::npos && kFormulaStarts.find(text[first]) != std::string_view::npos;
    if (!isFormula && text.find_first_of(",;\"\t\r\n") == std::string::npos) return text;
    std::string quoted = isFormula ? "\"'" : "\"";
    for (const char c : text) quoted += c == '"' ? "\"\"" : std::string(1, c);
    return quoted + "\"";
}

std::string_view Trimmed(std::string_view text, std::string_view blanks) {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

bool EqualIgnoringCase(const std::string& a, const std::string& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

void MakeUnique(std::vector<std::string>& names) {
    const auto lowered = [](std::string name) {
        for (char& c : name) c = static_cast<char>(std::tolower(Byte(c)));
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
