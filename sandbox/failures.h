// Failures on purpose, for training and tests: which request fails, how, and what is said of it.

#ifndef SANDBOX_FAILURES_H
#define SANDBOX_FAILURES_H

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace httplib {
struct Response;
}

/// What becomes of a request. All but RefuseSession spoil the reply to one that was carried out.
enum class FailureKind { Slow, Silent, RefuseSession, EmptyReply, CutReply, ErrorPage };

struct Failure
{
    FailureKind kind = FailureKind::Slow;
    std::int64_t every = 1; ///< how many requests there are to one that fails
};

constexpr std::int64_t MaxEvery = 1000000;

/// Reads "cut-reply" or "cut-reply:4"; empty if it is neither a kind nor one with a number.
std::optional<Failure> failureFromText(std::string_view text);

/// The word for it on the command line and in the log.
std::string nameOf(FailureKind kind);

/// A line for the start, in words that nobody takes for a real trouble.
std::string announcement(const Failure &failure);

/// Counts the requests and picks those that fail. next() may be called from any thread.
class Failures
{
public:
    explicit Failures(std::vector<Failure> failures = {});

    /// How the request that has just arrived fails, if it does. Of two failures that are due
    /// together the first one counts.
    std::optional<FailureKind> next();

private:
    const std::vector<Failure> m_failures;
    std::atomic<std::int64_t> m_requests{0};
};

/// Changes a good reply into what the failure leaves of it.
void spoil(httplib::Response &response, FailureKind kind);

/// Returns when the reply may be sent. To be called in the thread that serves the connection.
void holdBack(FailureKind kind);

#endif // SANDBOX_FAILURES_H
