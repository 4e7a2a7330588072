// The HTTPS server: listening, starting and stopping. The answers are in httphandlers.

#include "server.h"

#include "connections.h"
#include "httphandlers.h"

#include <httplib.h>

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <utility>

namespace {
// Each open connection holds a thread, and a client opens up to six.
constexpr std::size_t ThreadsPerAddress = 64;
constexpr time_t IdleSeconds = 60;
constexpr std::size_t RequestsPerConnection = 1000000;
constexpr std::size_t MaxBody = std::size_t{1} << 20U;
constexpr time_t ReadSeconds = 10;
constexpr int FreePortAttempts = 20;
// TLS 1.2 with authenticated encryption only; what TLS 1.3 has is like that by itself.
constexpr const char *Ciphers = "ECDHE+AESGCM:ECDHE+CHACHA20";

// At a stop: how long a request may take to arrive, and how long to be answered.
constexpr std::chrono::milliseconds ReadingGrace(300);
constexpr std::chrono::milliseconds WritingGrace(5000);
constexpr std::chrono::milliseconds Pause(10);

bool hasLoopback6()
{
    const int probe = socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (probe < 0)
        return false;
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    const bool bound =
        bind(probe, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0;
    close(probe);
    return bound;
}

/// The threads of one address, with a list of what they serve.
class Workers : public httplib::ThreadPool
{
public:
    explicit Workers(Connections &connections) :
        ThreadPool(ThreadsPerAddress), m_connections(connections)
    {
    }
    void enqueue(std::function<void()> serve) override
    {
        ThreadPool::enqueue(m_connections.accepted(std::move(serve)));
    }

private:
    Connections &m_connections;
};

std::unique_ptr<httplib::SSLServer> newServer(const CertificatePaths &certificates,
                                              Connections &connections)
{
    auto server = std::make_unique<httplib::SSLServer>([&certificates](SSL_CTX &context) {
        Connections::watch(context);
        return SSL_CTX_set_min_proto_version(&context, TLS1_2_VERSION) == 1 &&
               SSL_CTX_set_cipher_list(&context, Ciphers) == 1 &&
               SSL_CTX_use_certificate_chain_file(&context, certificates.server.c_str()) == 1 &&
               SSL_CTX_use_PrivateKey_file(&context, certificates.serverKey.c_str(),
                                           SSL_FILETYPE_PEM) == 1;
    });
    if (!server->is_valid())
        throw std::runtime_error("The certificate " + certificates.server + " cannot be used.");
    server->set_tcp_nodelay(true);
    server->set_keep_alive_timeout(IdleSeconds);
    server->set_keep_alive_max_count(RequestsPerConnection);
    server->set_read_timeout(ReadSeconds);
    server->set_payload_max_length(MaxBody);
    server->new_task_queue = [&connections] {
        return new Workers(connections);
    };
    return server;
}
} // namespace

/// What listens on one address.
struct HttpsServer::Listener
{
    explicit Listener(const CertificatePaths &certificates) :
        server(newServer(certificates, connections))
    {
        server->set_socket_options([this](socket_t made) {
            // The library's own choice would let a second sandbox share the port in silence.
            const int yes = 1;
            setsockopt(made, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
            socket = made;
        });
    }

    /// Port 0 takes a free one. Returns the port, or 0 when it is taken.
    int bind(const std::string &address, int port)
    {
        int bound = port;
        if (port == 0)
            bound = server->bind_to_any_port(address);
        else if (!server->bind_to_port(address, port))
            bound = 0;
        // The library lets five wait for their accept; the sixth would try again after a second.
        if (bound > 0)
            listen(socket, SOMAXCONN);
        return std::max(bound, 0);
    }

    Connections connections{ThreadsPerAddress}; // before the server, whose connections they are
    std::unique_ptr<httplib::SSLServer> server;
    int socket = -1; // the server's to close
};

HttpsServer::HttpsServer(const CertificatePaths &certificates, int port)
{
    // A free port of one address may be taken at the other.
    for (int i = 0; i < (port == 0 ? FreePortAttempts : 1); ++i) {
        if (bindAll(certificates, port))
            return;
    }
    throw std::runtime_error("Port " + std::to_string(port) +
                             " is taken; stop what listens there or choose another with --port.");
}

HttpsServer::~HttpsServer()
{
    stop();
}

bool HttpsServer::bindAll(const CertificatePaths &certificates, int port)
{
    m_listeners.clear();
    auto listener4 = std::make_unique<Listener>(certificates);
    m_port = listener4->bind("127.0.0.1", port);
    if (m_port == 0)
        return false;
    m_listeners.push_back(std::move(listener4));

    if (hasLoopback6()) {
        auto listener6 = std::make_unique<Listener>(certificates);
        if (listener6->bind("::1", m_port) == 0)
            return false;
        m_listeners.push_back(std::move(listener6));
    }
    return true;
}

void HttpsServer::start(Service &service, Failures &failures)
{
    for (const auto &listener : m_listeners) {
        serve(*listener->server, service, failures, m_underWay);
        m_threads.emplace_back([raw = listener->server.get()] { raw->listen_after_bind(); });
    }
}

void HttpsServer::stop()
{
    std::atomic<bool> joined{m_threads.empty()};
    std::thread cutter([this, &joined] {
        const auto start = std::chrono::steady_clock::now();
        while (!joined) {
            std::this_thread::sleep_for(Pause);
            const auto waited = std::chrono::steady_clock::now() - start;
            // Again and again: a connection may be accepted at the last moment.
            if (waited <= ReadingGrace || (m_underWay != 0 && waited <= WritingGrace))
                continue;
            for (const auto &listener : m_listeners)
                listener->connections.cutAll();
        }
    });
    for (std::size_t i = 0; i < m_threads.size(); ++i) {
        // A stop before the thread listens would be lost.
        while (!m_listeners[i]->server->is_running())
            std::this_thread::sleep_for(Pause);
        m_listeners[i]->server->stop();
    }
    for (std::thread &thread : m_threads)
        thread.join();
    m_threads.clear();
    joined = true;
    cutter.join();
}
