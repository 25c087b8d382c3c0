// HostError: why the program cannot go on with its input. The program prints what() on stderr and exits
// non-zero.
#pragma once

#include <stdexcept>
#include <string>

/// `text` with every control character replaced by a space, so that whatever a file contains prints as one
/// line.
inline std::string OneLine(std::string text) {
    for (char& c : text) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
    }
    return text;
}

/// Reads "file: message" on one line; `message` says what was expected and what was found.
class HostError : public std::runtime_error {
public:
    HostError(const std::string& file, const std::string& message)
        : std::runtime_error(OneLine(file + ": " + message)) {}
};
