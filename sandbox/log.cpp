// The log: one line at a time.

#include "log.h"

#include <cstdio>
#include <mutex>

void logLine(std::string_view line)
{
    static std::mutex mutex;
    const std::lock_guard<std::mutex> lock(mutex);
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fputc('\n', stderr);
    std::fflush(stderr);
}
