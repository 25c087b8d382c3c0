#include "host/support/TextTable.h"

#include "host/support/Text.h"

std::string Cell(const std::string& text, std::size_t width) {
    const std::size_t count = CountCharacters(text);
    return std::string(width > count ? width - count : 0, ' ') + text;
}

std::string NameCell(const std::string& lead, std::size_t width) {
    const std::size_t room = width - 1;
    const std::size_t count = CountCharacters(lead);
    if (count <= room) return Cell(lead, width);
    return Cell(std::string(Characters(lead, 0, room - 2)).append(Characters(lead, count - 2, 2)), width);
}
