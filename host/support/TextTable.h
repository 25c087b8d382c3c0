// TextTable: columns of fixed width for tables on a terminal.
#pragma once

#include <cstddef>
#include <string>

constexpr std::size_t kTimeWidth = 6;     // "12:05" and a gap; names of leads too
constexpr std::size_t kFigureWidth = 13;  // a figure under a heading of two words

/// Right-aligned. A figure that is too long widens its column rather than lose a digit.
std::string Cell(const std::string& text, std::size_t width);
/// The name of a lead with a gap beside it; of a long one the start and the last two letters, where names
/// differ.
std::string NameCell(const std::string& lead, std::size_t width);
