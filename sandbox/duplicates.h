// Finding activations that arrive twice, which a client must never let happen.

#ifndef SANDBOX_DUPLICATES_H
#define SANDBOX_DUPLICATES_H

#include "clock.h"
#include "postedjson.h"

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// Remembers what each session asked for during the last seconds. Callable from any thread.
class DuplicateDetector
{
public:
    explicit DuplicateDetector(Clock clock);

    /// Notes an activation, carried out or not. Returns how long ago the same session sent the same
    /// trackers with the same starts and days, in whatever order; empty if it did not within the
    /// last five seconds.
    std::optional<std::chrono::milliseconds> note(int session,
                                                  const std::vector<PostedPeriod> &periods);

private:
    Clock m_clock;
    std::mutex m_mutex;
    std::map<std::string, std::chrono::steady_clock::time_point> m_seen;
};

#endif // SANDBOX_DUPLICATES_H
