// Keeping track of open connections through the TLS library's own notices.

#include "connections.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace {
// Silent for so long is idle. Between two requests in a row, or before the first one, a client
// needs a moment, and a request that crosses with the cut is lost.
constexpr std::chrono::milliseconds Moment(100);
// Connections fall idle without a word.
constexpr std::chrono::milliseconds Pause(10);
#ifdef POLLRDHUP
constexpr short HangUp = POLLRDHUP; // the client's alone
#else
constexpr short HangUp = POLLHUP;
#endif

bool hasUnreadBytes(int socket)
{
    int count = 0;
    return ioctl(socket, FIONREAD, &count) == 0 && count > 0;
}
} // namespace

Connections::Connections(std::size_t served) : m_served(served), m_roomMaker([this] { makeRoom(); })
{
}

Connections::~Connections()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ending = true;
    }
    m_changed.notify_all();
    m_roomMaker.join();
}

void Connections::watch(SSL_CTX &context)
{
    SSL_CTX_set_info_callback(&context, &Connections::onInfo);
}

std::function<void()> Connections::accepted(std::function<void()> serve)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto connection = m_open.emplace(m_open.end());
    connection->owner = this;
    connection->quietSince = std::chrono::steady_clock::now();
    m_changed.notify_all();
    return [this, connection, serve = std::move(serve)] {
        servedHere() = &*connection;
        serve();
        servedHere() = nullptr;
        const std::lock_guard<std::mutex> lockToErase(m_mutex);
        m_open.erase(connection);
    };
}

void Connections::answered()
{
    Connection *connection = servedHere();
    const std::lock_guard<std::mutex> lock(connection->owner->m_mutex);
    connection->inRequest = false;
    connection->quietSince = std::chrono::steady_clock::now();
}

void Connections::waitForHangUp(std::optional<std::chrono::milliseconds> limit)
{
    pollfd connection{servedHere()->socket, HangUp, 0};
    poll(&connection, 1, limit ? static_cast<int>(limit->count()) : -1);
}

void Connections::cutAll()
{
    // Cut, not closed: the numbers stay taken until their owners close them.
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const Connection &connection : m_open) {
        if (connection.socket >= 0)
            shutdown(connection.socket, SHUT_RDWR);
    }
}

/// The library serves a connection from its accept to its close in one thread.
Connections::Connection *&Connections::servedHere()
{
    static thread_local Connection *connection = nullptr;
    return connection;
}

void Connections::onInfo(const SSL *ssl, int where, int)
{
    Connection *connection = servedHere();
    // A TLS 1.3 session ticket is announced as one more handshake.
    if ((where & SSL_CB_HANDSHAKE_START) == 0 || connection->ssl != nullptr)
        return;
    connection->ssl = ssl;
    BIO_set_callback_ex(SSL_get_rbio(ssl), &Connections::onBytes);
    BIO_set_callback_arg(SSL_get_rbio(ssl), reinterpret_cast<char *>(connection));
    const int socket = SSL_get_fd(ssl);
    const std::lock_guard<std::mutex> lock(connection->owner->m_mutex);
    connection->socket = socket;
}

long Connections::onBytes(BIO *bio, int operation, const char *, size_t, int, long, int result,
                          size_t *)
{
    auto *connection = reinterpret_cast<Connection *>(BIO_get_callback_arg(bio));
    const std::lock_guard<std::mutex> lock(connection->owner->m_mutex);
    if (operation == BIO_CB_READ) {
        // The library reads when bytes are there; once read they no longer show at the socket.
        if (SSL_is_init_finished(connection->ssl) != 0)
            connection->inRequest = true;
    } else if (operation == (BIO_CB_READ | BIO_CB_RETURN) && result > 0) {
        connection->quietSince = std::chrono::steady_clock::now();
    } else if (operation == BIO_CB_FREE) {
        // Before the socket is closed, so its number can't belong to another connection yet.
        connection->socket = -1;
    }
    return result;
}

void Connections::makeRoom()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_ending) {
        if (m_open.size() <= m_served) {
            m_changed.wait(lock);
        } else {
            cutIdle();
            m_changed.wait_for(lock, Pause);
        }
    }
}

void Connections::cutIdle()
{
    const auto leaving = std::count_if(m_open.begin(), m_open.end(),
                                       [](const Connection &each) { return each.cut; });
    auto missing = static_cast<std::ptrdiff_t>(m_open.size() - m_served) - leaving;
    for (; missing > 0; --missing) {
        Connection *connection = idleLongest();
        if (connection == nullptr)
            return;
        connection->cut = true;
        shutdown(connection->socket, SHUT_RDWR);
    }
}

Connections::Connection *Connections::idleLongest()
{
    Connection *result = nullptr;
    Time before = std::chrono::steady_clock::now() - Moment;
    for (Connection &each : m_open) {
        if (each.socket < 0 || each.cut || each.inRequest || each.quietSince > before ||
            hasUnreadBytes(each.socket))
            continue;
        result = &each;
        before = each.quietSince;
    }
    return result;
}
