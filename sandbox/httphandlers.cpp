// From a request's bytes to the service and back.

#include "httphandlers.h"

#include "connections.h"
#include "endpoints.h"
#include "failures.h"
#include "requestlog.h"

#include <httplib.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace {
constexpr const char *SessionCookie = "veltrano_session";
// With the character set named, the library sends the body as it is; it would compress the bare
// type, and a client could then not tell how much of it is still to come.
constexpr const char *JsonType = "application/json; charset=utf-8";
constexpr const char *FormType = "application/x-www-form-urlencoded";
constexpr std::size_t MaxForm = std::size_t{1} << 20U;
// How much of a body that is too big is read and thrown away, so that its sender reads the reply.
constexpr std::size_t MaxSwallowed = std::size_t{64} << 20U;
constexpr std::size_t MaxPath = 100;

/// Of the request that this thread is answering.
struct Note
{
    RequestNote forLog;
    bool answered = false;
    bool counted = false;
};

/// What the requests are answered from.
struct Backend
{
    Service &service;
    Failures &failures;
    std::atomic<int> &underWay;
};

Note &note()
{
    static thread_local Note current;
    return current;
}

void writeHead(httplib::Response &response, const Reply &reply)
{
    note().answered = true;
    note().forLog.result = reply.code;
    note().forLog.session = reply.session;
    response.status = reply.status;
    // Removing and renaming are GET requests: no reply may ever come out of a cache.
    response.set_header("Cache-Control", "no-store");
    if (!reply.allow.empty())
        response.set_header("Allow", reply.allow);
    if (!reply.token.empty()) {
        response.set_header("Set-Cookie", std::string(SessionCookie) + "=" + reply.token +
                                              "; Path=/; Secure; HttpOnly; SameSite=Strict");
    }
}

void write(httplib::Response &response, const Reply &reply)
{
    writeHead(response, reply);
    response.set_content(reply.body, JsonType);
}

/// For requests whose end is not known: what follows on the connection is no request.
void writeAndClose(httplib::Response &response, const Reply &reply)
{
    writeHead(response, reply);
    response.set_header("Connection", "close");
    const auto provider = [body = reply.body](std::size_t offset, std::size_t,
                                              httplib::DataSink &sink) {
        sink.write(body.data() + offset, body.size() - offset);
        return false; // which makes the library close the connection
    };
    response.set_content_provider(reply.body.size(), JsonType, provider);
}

std::string tokenOf(const httplib::Request &request)
{
    const std::string header = request.get_header_value("Cookie");
    std::string_view rest = header;
    while (!rest.empty()) {
        const std::size_t end = rest.find(';');
        std::string_view cookie = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        cookie.remove_prefix(std::min(cookie.find_first_not_of(' '), cookie.size()));
        const std::size_t equals = cookie.find('=');
        if (cookie.substr(0, equals) == SessionCookie && equals != std::string_view::npos)
            return std::string(cookie.substr(equals + 1));
    }
    return {};
}

Call callOf(const httplib::Request &request)
{
    Call call;
    call.method = request.method;
    call.path = request.path;
    call.token = tokenOf(request);
    // The library's own decoding passes over what it does not understand.
    const std::size_t query = request.target.find('?');
    if (query != std::string::npos && request.method == "GET")
        call.items = request.target.substr(query + 1);
    return call;
}

bool bodyIsAnnounced(const httplib::Request &request)
{
    const std::string length = request.get_header_value("Content-Length");
    return request.has_header("Transfer-Encoding") || (!length.empty() && length != "0");
}

bool mayHaveBody(const std::string &method)
{
    return method == "POST" || method == "PUT" || method == "PATCH" || method == "DELETE";
}

bool isForm(const httplib::Request &request)
{
    std::string type = request.get_header_value("Content-Type");
    type.resize(std::min(type.find_first_of("; "), type.size()));
    return strcasecmp(type.c_str(), FormType) == 0;
}

enum class Body { Complete, TooBig, Broken };

Body readBody(const httplib::Request &request, const httplib::Response &response,
              const httplib::ContentReader &reader, std::string &body)
{
    std::size_t total = 0;
    const auto receive = [&](const char *data, std::size_t length) {
        total += length;
        if (total <= MaxForm)
            body.append(data, length);
        return total <= MaxSwallowed;
    };
    const bool whole =
        request.is_multipart_form_data()
            ? reader([](const httplib::MultipartFormData &) { return true; }, receive)
            : reader(receive);
    if (total > MaxForm || response.status == 413)
        return Body::TooBig;
    return whole ? Body::Complete : Body::Broken;
}

void answer(const Backend &backend, Call call, httplib::Response &response)
{
    ++backend.underWay;
    note().counted = true;
    const std::optional<FailureKind> failure = backend.failures.next();
    if (failure == FailureKind::RefuseSession)
        call.token.clear();
    const Reply reply = backend.service.answer(call);
    write(response, reply);
    // A login has no session that could be refused.
    if (!failure || (failure == FailureKind::RefuseSession && !reply.sessionRefused))
        return;
    note().forLog.failure = failure;
    spoil(response, *failure);
}

void answerWithBody(const Backend &backend, const httplib::Request &request,
                    httplib::Response &response, const httplib::ContentReader &reader)
{
    Call call = callOf(request);
    switch (readBody(request, response, reader, call.items)) {
    case Body::TooBig:
        writeAndClose(response, malformedReply(413, "The form is bigger than 1 MiB."));
        break;
    case Body::Broken:
        writeAndClose(response, malformedReply(400, "The request ended before its form did."));
        break;
    case Body::Complete:
        if (call.method == "POST" && !isForm(request))
            write(response, malformedReply(415, std::string("Send the form as ") + FormType + "."));
        else
            answer(backend, std::move(call), response);
        break;
    }
}

/// Answers what carries no body; true if that was so.
bool answerWithoutBody(const Backend &backend, const httplib::Request &request,
                       httplib::Response &response)
{
    note() = Note();
    note().forLog.start = std::chrono::steady_clock::now();
    // A range is a wish that a service may pass over; the library would cut our JSON to pieces.
    const_cast<httplib::Request &>(request).ranges.clear();
    if (!bodyIsAnnounced(request)) {
        answer(backend, callOf(request), response);
        return true;
    }
    if (!mayHaveBody(request.method)) {
        writeAndClose(response, malformedReply(400, "Only a POST has a body here."));
        return true;
    }
    // The library matches paths by a regular expression, which a long one would exhaust.
    if (request.path.size() > MaxPath) {
        writeAndClose(response, malformedReply(404, "There is no such page."));
        return true;
    }
    return false;
}

/// Puts our words into what the library refuses by itself.
void answerNonsense(const httplib::Request &, httplib::Response &response)
{
    if (note().answered)
        return;
    const int status = response.status;
    writeAndClose(response, malformedReply(status, status == 414 ? "The address is too long."
                                                                 : "This is no request."));
}

void stopCounting(std::atomic<int> &underWay)
{
    if (std::exchange(note().counted, false))
        --underWay;
}

void endReply(std::atomic<int> &underWay, const httplib::Request &request,
              httplib::Response &response)
{
    // The library promises to keep the connection whatever we do.
    if (response.get_header_value("Connection") == "close")
        response.headers.erase("Keep-Alive");
    logRequest(request.method, request.path, response.status, note().forLog);
    if (note().forLog.failure) {
        // No stop waits for what would never come.
        stopCounting(underWay);
        holdBack(*note().forLog.failure);
    }
}

/// Runs when the reply is sent, or could not be.
void finish(std::atomic<int> &underWay)
{
    stopCounting(underWay);
    note() = Note();
    Connections::answered();
}
} // namespace

void serve(httplib::Server &server, Service &service, Failures &failures,
           std::atomic<int> &underWay)
{
    using httplib::ContentReader;
    using httplib::Request;
    using httplib::Response;
    using Handled = httplib::Server::HandlerResponse;

    const Backend backend{service, failures, underWay};
    server.set_pre_routing_handler([backend](const Request &request, Response &response) {
        return answerWithoutBody(backend, request, response) ? Handled::Handled
                                                             : Handled::Unhandled;
    });
    const auto withBody = [backend](const Request &request, Response &response,
                                    const ContentReader &reader) {
        answerWithBody(backend, request, response, reader);
    };
    // Through a content reader: the library takes no more than 8 KB of a form otherwise.
    server.Post(".*", withBody);
    server.Put(".*", withBody);
    server.Patch(".*", withBody);
    server.Delete(".*", withBody);
    server.set_error_handler(httplib::Server::Handler(answerNonsense));
    // Before the reply is sent: who has read it finds its line in the log.
    server.set_post_routing_handler([&underWay](const Request &request, Response &response) {
        endReply(underWay, request, response);
    });
    server.set_logger([&](const Request &, const Response &) { finish(underWay); });
}
