// What the service answers: every endpoint, without the transport.

#ifndef SANDBOX_ENDPOINTS_H
#define SANDBOX_ENDPOINTS_H

#include "calendar.h"
#include "clock.h"
#include "duplicates.h"
#include "forms.h"
#include "sessions.h"
#include "sqlite.h"

#include <nlohmann/json_fwd.hpp>

#include <mutex>
#include <optional>
#include <string>

/// The values of the member rcode. Clients act on SessionRefused only.
enum ResultCode { Done = 0, RuleRefused = 1, Malformed = -1, SessionRefused = -99 };

/// A request as far as the service cares.
struct Call
{
    std::string method;
    std::string path;
    std::string items; ///< the form still encoded: the body of a POST, the query of a GET
    std::string token; ///< the session cookie's value, empty without one
};

/// What goes back.
struct Reply
{
    int status = 200;
    std::string body;  ///< always one JSON object
    std::string code;  ///< the body's result for the log, such as "rcode=0"
    std::string token; ///< a new session's cookie value, empty if none is to be set
    std::string allow; ///< the methods to name when the method was wrong
    int session = 0;   ///< the session's number for the log, 0 without one
    /// The request needed a session and had none.
    bool sessionRefused = false;
};

/// A reply for requests that are refused as they stand.
Reply malformedReply(int status, const std::string &message);

/// The service. answer() may be called from any thread and does not throw.
class Service
{
public:
    /// Without a pinned day the machine's date counts.
    Service(Database database, std::optional<Day> pinnedDay, std::chrono::seconds sessionLifetime,
            const Clock &clock = std::chrono::steady_clock::now);

    Reply answer(const Call &call);

private:
    struct Endpoint;
    using Json = nlohmann::json;

    static const Endpoint *endpointOf(const std::string &path);
    Reply dispatch(const Endpoint &endpoint, const Call &call);
    Day today() const;

    Reply login(const Form &form);
    // With the database's mutex held. Each fills in its reply's own members.
    void listGroups(const Form &form, const Session &session, Json &reply);
    void listTrackers(const Form &form, const Session &session, Json &reply);
    void trackerInfo(const Form &form, const Session &session, Json &reply);
    void activate(const Form &form, const Session &session, Json &reply);
    void extend(const Form &form, const Session &session, Json &reply);
    void remove(const Form &form, const Session &session, Json &reply);

    std::mutex m_mutex; // guards the database
    Database m_database;
    std::optional<Day> m_pinnedDay;
    Sessions m_sessions;
    DuplicateDetector m_duplicates;
};

#endif // SANDBOX_ENDPOINTS_H
