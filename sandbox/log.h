// The log: whole lines on the standard error output.

#ifndef SANDBOX_LOG_H
#define SANDBOX_LOG_H

#include <string_view>

/// Writes one line and its line feed. Callable from every thread; lines are never mixed.
void logLine(std::string_view line);

#endif // SANDBOX_LOG_H
