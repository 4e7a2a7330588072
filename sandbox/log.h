// The log: whole lines on the standard error output.

#ifndef SANDBOX_LOG_H
#define SANDBOX_LOG_H

#include <string>
#include <string_view>

/// Writes one line and its line feed. Callable from every thread; lines are never mixed.
void logLine(std::string_view line);

/// The local time as "2026-03-01T09:30:00.125".
std::string timeStamp();

/// The text as it may stand in a log line: at most 200 bytes, everything but printable ASCII as
/// %XX.
std::string printable(std::string_view text);

#endif // SANDBOX_LOG_H
