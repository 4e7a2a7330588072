// Sessions: starting, finding, and forgetting those that have ended.

#include "sessions.h"

#include "randomness.h"

#include <utility>

namespace {
constexpr int TokenBytes = 32;
} // namespace

Sessions::Sessions(std::chrono::seconds lifetime, Clock clock) :
    m_lifetime(lifetime), m_clock(std::move(clock))
{
}

std::string Sessions::start(std::int64_t account)
{
    std::string token = randomHex(TokenBytes);
    const auto now = m_clock();
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (auto it = m_sessions.begin(); it != m_sessions.end();)
        it = it->second.end <= now ? m_sessions.erase(it) : std::next(it);
    m_sessions[token] = Session{account, ++m_lastNumber, now + m_lifetime};
    return token;
}

std::optional<Session> Sessions::find(const std::string &token) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto session = m_sessions.find(token);
    if (session == m_sessions.end() || session->second.end <= m_clock())
        return std::nullopt;
    return session->second;
}
