// The log: one line at a time, and texts made fit for a line.

#include "log.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <mutex>

namespace {
constexpr std::size_t MaxPrinted = 200;
} // namespace

void logLine(std::string_view line)
{
    static std::mutex mutex;
    const std::lock_guard<std::mutex> lock(mutex);
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fputc('\n', stderr);
    std::fflush(stderr);
}

std::string timeStamp()
{
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto sinceEpoch =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch());
    std::tm local{};
    localtime_r(&seconds, &local);

    std::array<char, 40> whole{};
    std::strftime(whole.data(), whole.size(), "%Y-%m-%dT%H:%M:%S", &local);
    std::array<char, 50> text{};
    std::snprintf(text.data(), text.size(), "%s.%03d", whole.data(),
                  static_cast<int>(sinceEpoch.count() % 1000));
    return text.data();
}

std::string printable(std::string_view text)
{
    static constexpr char Hex[] = "0123456789ABCDEF";
    std::string result;
    for (const char c : text.substr(0, MaxPrinted)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte > 0x20 && byte < 0x7f) {
            result += c;
        } else {
            result += '%';
            result += Hex[byte >> 4U];
            result += Hex[byte & 15U];
        }
    }
    if (text.size() > MaxPrinted)
        result += "...";
    return result;
}
