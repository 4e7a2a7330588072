// The log line of each request: time, method, path, status, result, milliseconds, session, and
// whether it failed on purpose.

#ifndef SANDBOX_REQUESTLOG_H
#define SANDBOX_REQUESTLOG_H

#include "failures.h"

#include <chrono>
#include <optional>
#include <string>

/// What is noted for the line while the request is answered.
struct RequestNote
{
    std::chrono::steady_clock::time_point start; ///< stays unset for what is no request
    std::string result = "-";                    ///< such as "rcode=0"
    int session = 0;                             ///< 0 without one
    std::optional<FailureKind> failure;          ///< on purpose
};

/// Writes the line. Of a request's address it takes the path only: a query may hold names, and by a
/// client's mistake passwords.
void logRequest(const std::string &method, const std::string &path, int status,
                const RequestNote &note);

#endif // SANDBOX_REQUESTLOG_H
