// What time it is, for whatever lasts for a while.

#ifndef SANDBOX_CLOCK_H
#define SANDBOX_CLOCK_H

#include <chrono>
#include <functional>

/// The time on the clock that nobody sets; tests have one of their own, which needs no waiting.
using Clock = std::function<std::chrono::steady_clock::time_point()>;

#endif // SANDBOX_CLOCK_H
