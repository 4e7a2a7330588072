// Who is logged in: sessions known by a random token, each for a fixed time.

#ifndef SANDBOX_SESSIONS_H
#define SANDBOX_SESSIONS_H

#include "clock.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

/// One login. The number is only for the log: it tells sessions apart and opens nothing.
struct Session
{
    std::int64_t account = 0;
    int number = 0;
    std::chrono::steady_clock::time_point end;
};

/// Lives in memory: a restart ends every session. All functions may be called from any thread.
class Sessions
{
public:
    /// A session ends that long after its login, however much it is used.
    Sessions(std::chrono::seconds lifetime, Clock clock);

    /// Starts a session and returns its token, 64 hexadecimal characters.
    std::string start(std::int64_t account);

    /// The session of a token; empty if there is none or it has ended.
    std::optional<Session> find(const std::string &token) const;

private:
    mutable std::mutex m_mutex;
    std::map<std::string, Session> m_sessions;
    std::chrono::seconds m_lifetime;
    Clock m_clock;
    int m_lastNumber = 0;
};

#endif // SANDBOX_SESSIONS_H
