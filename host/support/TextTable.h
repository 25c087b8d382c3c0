// TextTable: columns of fixed width for tables on a terminal.
#pragma once

#include <string>

constexpr int kTimeWidth = 6;     // "12:05" and a gap; names of leads too
constexpr int kFigureWidth = 13;  // a figure under a heading of two words

/// Right-aligned. A figure that is too long widens its column rather than lose a digit.
std::string Cell(const std::string& text, int width);
/// The name of a lead with a gap beside it; of a long one the start and the last two letters, where names
/// differ.
std::string NameCell(const std::string& lead, int width);
