// HostError: why the program cannot go on with its input. The program prints what() on stderr and exits
// non-zero.
#pragma once

#include <stdexcept>
#include <string>

#include "host/support/Text.h"

/// Reads "file: message" on one line; `message` says what was expected and what was found.
class HostError : public std::runtime_error {
public:
    HostError(const std::string& file, const std::string& message)
        : std::runtime_error(OneLine(file + ": " + message)) {}
};
