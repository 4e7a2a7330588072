// The log line of each request.

#include "requestlog.h"

#include "log.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <string_view>

namespace {
constexpr std::size_t MaxPrinted = 200;

/// The local time as "2026-03-01T09:30:00.125".
std::string timeStamp()
{
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto sinceEpoch =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch());
    std::tm local{};
    localtime_r(&seconds, &local);

    std::array<char, 40> text{};
    const std::size_t end = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &local);
    std::snprintf(text.data() + end, text.size() - end, ".%03d",
                  static_cast<int>(sinceEpoch.count() % 1000));
    return text.data();
}

/// The text as it may stand in a log line: at most 200 bytes, everything but printable ASCII as
/// %XX; a dash where there is none.
std::string printable(std::string_view text)
{
    if (text.empty())
        return "-";
    std::string result;
    for (const char c : text.substr(0, MaxPrinted)) {
        std::array<char, 4> escaped{};
        std::snprintf(escaped.data(), escaped.size(), "%%%02X", static_cast<unsigned char>(c));
        result += c > 0x20 && c < 0x7f ? std::string(1, c) : escaped.data();
    }
    if (text.size() > MaxPrinted)
        result += "...";
    return result;
}

std::string millisecondsSince(std::chrono::steady_clock::time_point start)
{
    using Milliseconds = std::chrono::duration<double, std::milli>;
    const bool began = start != std::chrono::steady_clock::time_point();
    const Milliseconds took = began ? std::chrono::steady_clock::now() - start : Milliseconds(0);
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%.1f", took.count());
    return text.data();
}
} // namespace

void logRequest(const std::string &method, const std::string &path, int status,
                const RequestNote &note)
{
    logLine(timeStamp() + " " + printable(method) + " " + printable(path) + " " +
            std::to_string(status) + " " + note.result + " " + millisecondsSince(note.start) +
            "ms session=" + (note.session == 0 ? "-" : std::to_string(note.session)) +
            (note.failure ? " FAILED ON PURPOSE: " + nameOf(*note.failure) : ""));
}
