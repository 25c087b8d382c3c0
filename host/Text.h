// Text: figures and names as the program prints them.
#pragma once

#include <string>

/// With so many decimals; "-" for NaN, never a negative zero.
std::string Number(double value, int decimals);
/// Minutes and seconds, "12:05", rounded to the second; negative times are 0:00.
std::string Clock(double seconds);
/// As a field of CSV; quoted where it has to be.
std::string CsvField(const std::string& text);
bool EqualIgnoringCase(const std::string& a, const std::string& b);
