// ExitCodes: what the program tells its caller.
#pragma once

constexpr int kExitFailed = 1;         // a recording cannot be analysed; one line on stderr names it
constexpr int kExitUsage = 2;          // wrong usage
constexpr int kExitSomeFailed = 3;     // some records of a batch failed, the others are done
constexpr int kExitInterrupted = 130;  // interrupted, with results up to there
