// The duplicate detector.

#include "duplicates.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

namespace {
constexpr std::chrono::seconds Window(5);

std::string fingerprint(int session, const std::vector<PostedPeriod> &periods)
{
    nlohmann::json entries = nlohmann::json::array();
    for (const PostedPeriod &period : periods)
        entries.push_back({period.serial, period.start, period.days});
    std::sort(entries.begin(), entries.end());
    return std::to_string(session) + entries.dump();
}
} // namespace

DuplicateDetector::DuplicateDetector(Clock clock) : m_clock(std::move(clock)) {}

std::optional<std::chrono::milliseconds>
DuplicateDetector::note(int session, const std::vector<PostedPeriod> &periods)
{
    const std::string key = fingerprint(session, periods);
    const auto now = m_clock();
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (auto it = m_seen.begin(); it != m_seen.end();)
        it = now - it->second > Window ? m_seen.erase(it) : std::next(it);

    const auto earlier = m_seen.find(key);
    if (earlier == m_seen.end()) {
        m_seen[key] = now;
        return std::nullopt;
    }
    const auto age = std::chrono::duration_cast<std::chrono::milliseconds>(now - earlier->second);
    earlier->second = now;
    return age;
}
