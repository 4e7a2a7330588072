// Bytes that arrive at the sandbox, from the library's reading of HTTP to the service and its
// database, without a socket: whatever comes, every answer is a whole one with a JSON object in it,
// every request has its line in the log, and the service still answers the next one.

#include "target.h"

#include "sandbox/connections.h"
#include "sandbox/database.h"
#include "sandbox/endpoints.h"
#include "sandbox/failures.h"
#include "sandbox/httphandlers.h"
#include "sandbox/seed.h"

#include <httplib.h>
#include <nlohmann/json.hpp>
#include <openssl/evp.h>
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// In place of the library's: one round of hashing and not a hundred thousand, for a login would be
/// nearly all that is measured here.
extern "C" int PKCS5_PBKDF2_HMAC(const char *password, int length, const unsigned char *salt,
                                 int saltLength, int, const EVP_MD *digest, int keyLength,
                                 unsigned char *key)
{
    std::string text(password, static_cast<std::size_t>(length));
    text.append(reinterpret_cast<const char *>(salt), static_cast<std::size_t>(saltLength));
    unsigned made = 0;
    return keyLength == EVP_MD_get_size(digest)
               ? EVP_Digest(text.data(), text.size(), key, &made, digest, nullptr)
               : 0;
}

namespace {
constexpr Day Today = 20522; // 2026-03-10
constexpr std::chrono::hours Lifetime(8);
/// Stands in an input for the value of a valid session's cookie.
constexpr std::string_view SessionMark = "@SESSION@";
constexpr int MostRequests = 50;
constexpr int InputsPerService = 1000; // sessions add up

/// Both ends of a connection that the client closes behind its last byte.
class Connection : public httplib::Stream
{
public:
    explicit Connection(std::string requests) : m_requests(std::move(requests)) {}

    bool hasMore() const { return m_read < m_requests.size(); }
    const std::string &answers() const { return m_answers; }

    bool is_readable() const override { return hasMore(); }
    bool is_writable() const override { return true; }
    ssize_t read(char *data, std::size_t size) override
    {
        const std::size_t count = std::min(size, m_requests.size() - m_read);
        std::copy_n(m_requests.data() + m_read, count, data);
        m_read += count;
        return static_cast<ssize_t>(count);
    }
    ssize_t write(const char *data, std::size_t size) override
    {
        m_answers.append(data, size);
        return static_cast<ssize_t>(size);
    }
    void get_remote_ip_and_port(std::string &ip, int &port) const override
    {
        ip = "127.0.0.1";
        port = 1;
    }
    void get_local_ip_and_port(std::string &ip, int &port) const override
    {
        get_remote_ip_and_port(ip, port);
    }
    socket_t socket() const override { return -1; }

private:
    std::string m_requests;
    std::string m_answers;
    std::size_t m_read = 0;
};

/// The library's server on such a connection, as it is on a socket.
class SocketlessServer : public httplib::Server
{
public:
    /// Without a listening socket the library would think that it is being stopped.
    SocketlessServer() { svr_sock_ = 0; }
    ~SocketlessServer() override { svr_sock_ = INVALID_SOCKET; }

    void talk(Connection &connection)
    {
        for (int i = 1; i <= MostRequests && connection.hasMore(); ++i) {
            bool closed = false;
            if (!process_request(connection, i == MostRequests, closed, nullptr) || closed)
                return;
        }
    }
};

/// The service's log, kept in memory as long as this lives.
class KeptLog
{
public:
    KeptLog() : m_stderr(stderr) { stderr = open_memstream(&m_text, &m_size); }
    ~KeptLog()
    {
        close();
        std::free(m_text);
    }
    KeptLog(const KeptLog &) = delete;
    KeptLog &operator=(const KeptLog &) = delete;

    std::string close()
    {
        if (m_stderr != nullptr) {
            std::fclose(stderr);
            stderr = m_stderr;
            m_stderr = nullptr;
        }
        return {m_text, m_size};
    }

private:
    std::FILE *m_stderr;
    char *m_text = nullptr;
    std::size_t m_size = 0;
};

struct Answer
{
    int status = 0;
    std::string head;
    std::string body;
};

std::string headerOf(const std::string &head, const std::string &name)
{
    const std::size_t at = head.find("\r\n" + name + ": ");
    if (at == std::string::npos)
        return {};
    const std::size_t begin = at + name.size() + 4;
    return head.substr(begin, head.find("\r\n", begin) - begin);
}

/// Takes the next answer off the bytes. A HEAD has one without a body.
Answer answerOf(std::string_view &bytes, bool mayLackBody)
{
    Answer answer;
    const std::size_t end = bytes.find("\r\n\r\n");
    mustHold(bytes.substr(0, 9) == "HTTP/1.1 " && end != bytes.npos, "an answer has a whole head");
    answer.head = std::string(bytes.substr(0, end + 2));
    answer.status = std::atoi(answer.head.c_str() + 9);
    bytes.remove_prefix(end + 4);
    if (answer.status == 100)
        return answer;
    const std::string length = headerOf(answer.head, "Content-Length");
    mustHold(!length.empty(), "an answer says how long it is");
    const auto size = static_cast<std::size_t>(std::atol(length.c_str()));
    if (mayLackBody && (bytes.empty() || bytes.substr(0, 5) == "HTTP/"))
        return answer;
    mustHold(bytes.size() >= size, "an answer is as long as it says");
    answer.body = std::string(bytes.substr(0, size));
    bytes.remove_prefix(size);
    const nlohmann::json body = nlohmann::json::parse(answer.body, nullptr, false);
    mustHold(body.is_object(), "the body is a JSON object");
    mustHold(body.contains("rcode") || body.contains("id"), "it says how it went");
    mustHold(headerOf(answer.head, "Cache-Control") == "no-store", "no answer may be kept");
    return answer;
}

/// What holds of the stored data whatever is asked: a query and, once it ran on the first data, its
/// answer.
constexpr std::array Unchanging{
    "SELECT group_concat(id || name, ',') FROM tracker_group",
    "SELECT group_concat(group_id || serial, ',') FROM group_member",
    "SELECT group_concat(serial || compe_id || firmware || imsi || provisioned, ',') FROM tracker",
    // What is paid is booked, and what is booked is paid.
    "SELECT balance_cents + (SELECT sum(cost_cents) FROM activation) FROM account",
    "SELECT count(*) FROM activation WHERE first_day > last_day OR serial NOT IN (SELECT serial "
    "FROM tracker)",
    "SELECT count(*) FROM activation a JOIN activation b ON a.serial = b.serial AND a.id < b.id "
    "AND a.first_day <= b.last_day AND b.first_day <= a.last_day",
    "PRAGMA integrity_check"};

/// A service with the demonstration data, which it has anew for every input.
class Sandbox
{
public:
    Sandbox() : Sandbox(connectTo(":memory:")) {}

    void startAnew() { copy(m_first.getHandle(), m_handle); }

    std::vector<Answer> send(std::string requests)
    {
        for (std::size_t at = requests.find(SessionMark); at != std::string::npos;
             at = requests.find(SessionMark, at + m_token.size()))
            requests.replace(at, SessionMark.size(), m_token);
        const bool mayLackBody = requests.find("HEAD") != std::string::npos;
        Connection connection(std::move(requests));
        m_connections.accepted([&] { m_server.talk(connection); })();
        mustHold(m_underWay == 0, "nothing is left under way");
        std::vector<Answer> answers;
        std::string_view bytes = connection.answers();
        while (!bytes.empty()) {
            const Answer answer = answerOf(bytes, mayLackBody);
            if (answer.status != 100)
                answers.push_back(answer);
        }
        return answers;
    }

    void checkData()
    {
        for (const char *query : Unchanging)
            mustHold(answerTo(query, m_handle) == answerTo(query, m_first.getHandle()), query);
    }

    void checkNextRequest()
    {
        const std::vector<Answer> answers =
            send("GET /bsGetMyGroups.php HTTP/1.1\r\nHost: localhost\r\nCookie: "
                 "veltrano_session=@SESSION@\r\n\r\n");
        mustHold(answers.size() == 1 && answers[0].status == 200, "the service answers");
        mustHold(nlohmann::json::parse(answers[0].body)["rcode"] == 0,
                 "the session is still there");
    }

private:
    explicit Sandbox(Database database) :
        m_handle(database.getHandle()), m_service(std::move(database), Today, Lifetime)
    {
        fillFirst();
        startAnew();
        serve(m_server, m_service, m_failures, m_underWay);
        m_server.set_payload_max_length(std::size_t{1} << 20U);
        const std::string form = std::string("email=") + DemoEmail + "&password=" + DemoPassword;
        m_token = m_service.answer({"POST", "/bslogin.php", form, ""}).token;
        mustHold(!m_token.empty(), "the demonstration's operator can log in");
    }

    /// By way of a file, for the sandbox keeps its data in no other place.
    void fillFirst()
    {
        std::string folder = std::filesystem::temp_directory_path() / "veltrano-fuzz-XXXXXX";
        mustHold(mkdtemp(folder.data()) != nullptr, "there is a place for files");
        {
            const LockedDatabase data = openDatabase(folder + "/sandbox.db", false, Today);
            copy(data.database.getHandle(), m_first.getHandle());
        }
        std::filesystem::remove_all(folder);
    }

    static void copy(sqlite3 *from, sqlite3 *to)
    {
        sqlite3_backup *copying = sqlite3_backup_init(to, "main", from, "main");
        mustHold(sqlite3_backup_step(copying, -1) == SQLITE_DONE, "the data can be copied");
        sqlite3_backup_finish(copying);
    }

    static std::string answerTo(const char *query, sqlite3 *data)
    {
        std::string text;
        const auto keep = [](void *kept, int, char **values, char **) {
            static_cast<std::string *>(kept)->append(values[0] == nullptr ? "" : values[0]);
            return 0;
        };
        mustHold(sqlite3_exec(data, query, keep, &text, nullptr) == SQLITE_OK, query);
        return text;
    }

    Database m_first = connectTo(":memory:");
    sqlite3 *m_handle; // the service's
    Service m_service;
    Failures m_failures; // none
    std::atomic<int> m_underWay{0};
    Connections m_connections{1};
    SocketlessServer m_server;
    std::string m_token;
};

void checkLog(const std::string &log, std::size_t answers)
{
    mustHold(static_cast<std::size_t>(std::count(log.begin(), log.end(), '\n')) >= answers,
             "every answer has its line in the log");
    mustHold(std::all_of(log.begin(), log.end(),
                         [](char c) { return c == '\n' || (c >= 0x20 && c < 0x7f); }),
             "the log is printable");
    // At a line's beginning: a request's own words come later in it.
    mustHold(('\n' + log).find("\nerror: ") == std::string::npos, "the service did not fail");
}
} // namespace

int LLVMFuzzerInitialize(int *, char ***)
{
    return 0;
}

void endTarget() {}

int LLVMFuzzerTestOneInput(const std::uint8_t *pData, std::size_t iSize)
{
    static std::unique_ptr<Sandbox> sandbox;
    static int inputs = 0;
    KeptLog log;
    if (inputs++ % InputsPerService == 0)
        sandbox = std::make_unique<Sandbox>();
    sandbox->startAnew();
    const std::vector<Answer> answers = sandbox->send(std::string(pData, pData + iSize));
    sandbox->checkData();
    sandbox->checkNextRequest();
    const std::string text = log.close();
    for (const Answer &answer : answers)
        mustHold(answer.status < 500, "the service did not fail");
    checkLog(text, answers.size());
    return 0;
}
