// Failures on purpose: their words, their turns, and how a reply is spoiled.

#include "failures.h"

#include "connections.h"
#include "texts.h"

#include <httplib.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

namespace {
// In the order of FailureKind.
constexpr std::array<std::string_view, 6> Names{"slow",        "silent",    "refuse-session",
                                                "empty-reply", "cut-reply", "error-page"};
// Long enough to be noticed, and to choose another group meanwhile.
constexpr std::chrono::seconds SlowReply(5);
constexpr const char *ProxyPage = "<html>\r\n<head><title>502 Bad Gateway</title></head>\r\n"
                                  "<body><h1>502 Bad Gateway</h1></body>\r\n</html>\r\n";

void cut(httplib::Response &response)
{
    const std::string body = std::exchange(response.body, {});
    const std::string type = response.get_header_value("Content-Type");
    response.headers.erase("Content-Type"); // the library adds one more
    const auto provider = [half = body.substr(0, body.size() / 2)](std::size_t, std::size_t,
                                                                   httplib::DataSink &sink) {
        sink.write(half.data(), half.size());
        return false; // which makes the library close the connection
    };
    response.set_content_provider(body.size(), type, provider);
}
} // namespace

std::optional<Failure> failureFromText(std::string_view text)
{
    const std::size_t colon = text.find(':');
    const auto *const name = std::find(Names.begin(), Names.end(), text.substr(0, colon));
    const std::optional<std::int64_t> every =
        colon == std::string_view::npos ? 1 : numberFromText(text.substr(colon + 1));
    if (name == Names.end() || !every || *every < 1 || *every > MaxEvery)
        return std::nullopt;
    return Failure{static_cast<FailureKind>(name - Names.begin()), *every};
}

std::string nameOf(FailureKind kind)
{
    return std::string(Names.at(static_cast<std::size_t>(kind)));
}

std::string announcement(const Failure &failure)
{
    return "FAILING ON PURPOSE: " + nameOf(failure.kind) + ", " +
           (failure.every == 1 ? "every request"
                               : "one request in " + std::to_string(failure.every));
}

Failures::Failures(std::vector<Failure> failures) : m_failures(std::move(failures)) {}

std::optional<FailureKind> Failures::next()
{
    const std::int64_t number = ++m_requests;
    for (const Failure &failure : m_failures) {
        if (number % failure.every == 0)
            return failure.kind;
    }
    return std::nullopt;
}

void spoil(httplib::Response &response, FailureKind kind)
{
    switch (kind) {
    case FailureKind::EmptyReply:
        response.body.clear();
        break;
    case FailureKind::CutReply:
        cut(response);
        break;
    case FailureKind::ErrorPage:
        // A proxy that lost the reply knows none of its headers, a new session's cookie included.
        response.headers.clear();
        response.status = 502;
        response.set_content(ProxyPage, "text/html; charset=utf-8");
        break;
    case FailureKind::Slow:
    case FailureKind::Silent:
    case FailureKind::RefuseSession:
        break;
    }
}

void holdBack(FailureKind kind)
{
    if (kind == FailureKind::Slow)
        Connections::waitForHangUp(SlowReply);
    else if (kind == FailureKind::Silent)
        Connections::waitForHangUp(std::nullopt);
}
