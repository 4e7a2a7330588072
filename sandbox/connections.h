// The open connections of one address: who is served, who is idle, and who has to give way.

#ifndef SANDBOX_CONNECTIONS_H
#define SANDBOX_CONNECTIONS_H

#include <openssl/ssl.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <thread>

/// Knows every connection from its accept to its close. Only so many can be served at a time; where
/// more are open, idle ones are cut, the one idle longest first, but never one whose request has
/// begun to arrive and is not answered. Idle is what was silent for a moment, whether it waits for
/// a request or for its handshake.
class Connections
{
public:
    explicit Connections(std::size_t served);
    ~Connections();
    Connections(const Connections &) = delete;
    Connections &operator=(const Connections &) = delete;

    /// Call once for each TLS context that connections are made with, before it is used.
    static void watch(SSL_CTX &context);

    /// Takes what serves a connection that was just accepted. What comes back does the same and has
    /// to be called, once, before this object ends.
    std::function<void()> accepted(std::function<void()> serve);

    /// To be called when a reply is sent, in the thread that serves its connection.
    static void answered();

    /// In the thread that serves a connection: returns when its client has hung up, when it is cut,
    /// or after so long.
    static void waitForHangUp(std::optional<std::chrono::milliseconds> limit);

    /// Cuts all connections: whoever reads from one or writes to one at that moment fails.
    void cutAll();

private:
    using Time = std::chrono::steady_clock::time_point;
    struct Connection
    {
        Connections *owner = nullptr;
        Time quietSince;
        const SSL *ssl = nullptr; // for the thread that serves the connection, while there is one
        int socket = -1;          // -1 before and after
        bool inRequest = false;
        bool cut = false;
    };

    static Connection *&servedHere();
    static void onInfo(const SSL *ssl, int where, int result);
    static long onBytes(BIO *bio, int operation, const char *data, size_t length, int argi,
                        long argl, int result, size_t *processed);
    void makeRoom();
    void cutIdle();
    Connection *idleLongest();

    const std::size_t m_served;
    std::mutex m_mutex; // guards what follows
    std::list<Connection> m_open;
    bool m_ending = false;
    std::condition_variable m_changed;
    std::thread m_roomMaker; // the last member: it uses the others
};

#endif // SANDBOX_CONNECTIONS_H
