// Text: figures and names as the program prints them.
//
// Whatever a file or the command line says goes through OneLine before it leaves the program.
#pragma once

#include <string>
#include <string_view>
#include <vector>

/// One line of valid UTF-8: a space for every control character, U+FFFD for every byte that is no UTF-8.
std::string OneLine(std::string_view text);
/// Number of characters of a text from OneLine.
std::size_t CountCharacters(std::string_view text);
/// Up to `count` characters of such a text from number `first` on.
std::string_view Characters(std::string_view text, std::size_t first, std::size_t count);

/// `value` with so many decimals; "-" for NaN, never a negative zero.
std::string Number(double value, int decimals);
/// Minutes and seconds, "12:05", rounded to the second; negative times are 0:00, NaN is "-".
std::string Clock(double seconds);
/// A field of CSV that begins with one of these is a formula to a spreadsheet.
inline constexpr std::string_view kFormulaStarts = "=+-@\t\r";
/// `text` as a field of CSV, quoted if needed. A field that a spreadsheet would take for a formula gets an
/// apostrophe in front.
std::string CsvField(const std::string& text);
/// `text` without the characters of `blanks` at both of its ends.
std::string_view Trimmed(std::string_view text, std::string_view blanks);
bool EqualIgnoringCase(const std::string& a, const std::string& b);
/// Makes names unique, case ignored: a repeated name gets the lowest free number from 2 on. "ECG", "ECG" and
/// "ecg" become "ECG", "ECG 2" and "ecg 3".
void MakeUnique(std::vector<std::string>& names);
