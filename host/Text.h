// Text: figures and names as the program prints them.
#pragma once

#include <string>
#include <vector>

/// With so many decimals; "-" for NaN, never a negative zero.
std::string Number(double value, int decimals);
/// Minutes and seconds, "12:05", rounded to the second; negative times are 0:00, NaN is "-".
std::string Clock(double seconds);
/// As a field of CSV; quoted where it has to be.
std::string CsvField(const std::string& text);
bool EqualIgnoringCase(const std::string& a, const std::string& b);
/// Puts the lowest free number from 2 on behind every name that one before it has, case ignored: "ECG", "ECG"
/// and "ecg" become "ECG", "ECG 2" and "ecg 3". The first of a name keeps it.
void MakeUnique(std::vector<std::string>& names);
