// The endpoints of the service.

#include "endpoints.h"

#include "accounts.h"
#include "bookings.h"
#include "log.h"
#include "postedjson.h"
#include "refusals.h"
#include "trackers.h"

#include <nlohmann/json.hpp>

#include <array>
#include <utility>

struct Service::Endpoint
{
    using Handler = void (Service::*)(const Form &, const Session &, Json &);

    const char *path;
    const char *method;
    Handler handler;      ///< null for the login, the one endpoint that needs no session
    const char *noAnswer; ///< the members of a reply that has nothing to tell
};

namespace {
nlohmann::json result(int code, const std::string &message)
{
    return {{"rcode", code}, {"msg", message}};
}

void setBody(Reply &reply, const nlohmann::json &body, const char *codeMember)
{
    // Texts cut in the middle of a character, and a database edited by hand, must not throw here.
    reply.body = body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    reply.code = std::string(codeMember) + "=" + body.at(codeMember).dump();
}
} // namespace

Reply malformedReply(int status, const std::string &message)
{
    Reply reply;
    reply.status = status;
    setBody(reply, result(Malformed, message), "rcode");
    return reply;
}

Service::Service(Database database, std::optional<Day> pinnedDay,
                 std::chrono::seconds sessionLifetime, const Clock &clock) :
    m_database(std::move(database)),
    m_pinnedDay(pinnedDay),
    m_sessions(sessionLifetime, clock),
    m_duplicates(clock)
{
}

const Service::Endpoint *Service::endpointOf(const std::string &path)
{
    static constexpr const char *Lists = R"({"balance": "", "trackers": []})";
    static constexpr const char *Info = R"({"name": "", "deviceSN": "", "SN": ""})";
    static constexpr std::array<Endpoint, 7> Endpoints{{
        {"/bslogin.php", "POST", nullptr, "{}"},
        {"/bsGetMyGroups.php", "GET", &Service::listGroups, R"({"groups": []})"},
        {"/bsGetGroupTrackers.php", "GET", &Service::listTrackers, Lists},
        {"/bsGetGroupTrackerInfo.php", "GET", &Service::trackerInfo, Info},
        {"/activateTrackers.php", "POST", &Service::activate, "{}"},
        {"/extendTrackers.php", "POST", &Service::extend, "{}"},
        {"/removeActivation.php", "GET", &Service::remove, "{}"},
    }};
    for (const Endpoint &endpoint : Endpoints) {
        if (path == endpoint.path)
            return &endpoint;
    }
    return nullptr;
}

Reply Service::answer(const Call &call)
{
    const Endpoint *endpoint = endpointOf(call.path);
    if (endpoint == nullptr)
        return malformedReply(404, "There is no such page.");
    if (call.method != endpoint->method) {
        Reply reply = malformedReply(405, std::string("Use ") + endpoint->method + " here.");
        reply.allow = endpoint->method;
        return reply;
    }
    try {
        return dispatch(*endpoint, call);
    } catch (const BadRequest &error) {
        return malformedReply(400, error.what());
    } catch (const std::exception &error) {
        logLine(std::string("error: ") + error.what());
        return malformedReply(500, "The sandbox failed; its log says why.");
    }
}

Reply Service::dispatch(const Endpoint &endpoint, const Call &call)
{
    const Form form = Form::decode(call.items);
    if (endpoint.handler == nullptr)
        return login(form);

    Reply reply;
    Json body = Json::parse(endpoint.noAnswer);
    const std::optional<Session> session = m_sessions.find(call.token);
    if (!session) {
        reply.sessionRefused = true;
        body.update(result(SessionRefused, "Please log in."));
        setBody(reply, body, "rcode");
        return reply;
    }
    try {
        Json members = Json::object();
        const std::lock_guard<std::mutex> lock(m_mutex);
        (this->*endpoint.handler)(form, *session, members);
        body.update(members);
        body.update(result(Done, ""));
        setBody(reply, body, "rcode");
    } catch (const Refusal &refusal) {
        body.update(result(RuleRefused, refusal.what()));
        setBody(reply, body, "rcode");
    } catch (const BadRequest &error) {
        reply = malformedReply(400, error.what());
    }
    reply.session = session->number;
    return reply;
}

Day Service::today() const
{
    return m_pinnedDay.value_or(currentDay());
}

Reply Service::login(const Form &form)
{
    const std::string &email = form.value("email");
    const std::string &password = form.value("password");
    Account account;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        account = accountOf(m_database, email);
    }
    Reply reply;
    // The hash is computed for an unknown address too: the time it takes tells nothing.
    if (!passwordMatches(password, account.password) || account.id == 0) {
        const Json body{{"id", 0}, {"msg", "Wrong e-mail address or password."}, {"name", ""}};
        setBody(reply, body, "id");
        return reply;
    }
    reply.token = m_sessions.start(account.id);
    reply.session = m_sessions.find(reply.token).value_or(Session()).number;
    setBody(reply, {{"id", account.id}, {"msg", ""}, {"name", account.name}}, "id");
    return reply;
}

void Service::listGroups(const Form &, const Session &session, Json &reply)
{
    reply["groups"] = groupList(m_database, session.account);
}

void Service::listTrackers(const Form &form, const Session &session, Json &reply)
{
    reply["trackers"] = trackerList(m_database, session.account, form.value("idgroup"), today());
    reply["balance"] = balanceText(m_database, session.account);
}

void Service::trackerInfo(const Form &form, const Session &session, Json &reply)
{
    const std::string &function = form.value("fx");
    // The client sends the label of its group list here, not the bare id.
    const std::string &group = form.value("groupId");
    const std::string &serial = form.value("SN");
    if (function == "getInfo") {
        reply["name"] = trackerName(m_database, session.account, group, serial);
    } else if (function == "saveInfo") {
        renameTracker(m_database, session.account, group, serial, form.value("name"));
        reply["name"] = form.value("name");
    } else {
        throw BadRequest("\"fx\" is neither \"getInfo\" nor \"saveInfo\".");
    }
    reply["deviceSN"] = serial;
    reply["SN"] = serial;
}

void Service::activate(const Form &form, const Session &session, Json &)
{
    const std::vector<PostedPeriod> periods = periodsFromJson(form.value("posted"));
    if (const auto age = m_duplicates.note(session.number, periods)) {
        logLine("DUPLICATE ACTIVATION of " + std::to_string(periods.size()) + " periods: session " +
                std::to_string(session.number) + " sent the same " + std::to_string(age->count()) +
                " ms ago");
    }
    bookPeriods(m_database, session.account, periods, today());
}

void Service::extend(const Form &form, const Session &session, Json &)
{
    const std::string &extend = form.value("extend");
    setProfile(m_database, session.account, extend, serialsFromJson(form.value("posted")));
}

void Service::remove(const Form &form, const Session &session, Json &)
{
    removePeriod(m_database, session.account, form.value("activationId"), today());
}
