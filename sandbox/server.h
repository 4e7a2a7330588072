// The transport: HTTPS on the two loopback addresses, in front of the service.

#ifndef SANDBOX_SERVER_H
#define SANDBOX_SERVER_H

#include "certificates.h"
#include "endpoints.h"

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

class Failures;

/// Takes its port when it is made, so that nothing else is touched while another sandbox has it;
/// answers once it is started.
class HttpsServer
{
public:
    /// Binds 127.0.0.1 and, where the machine has it, ::1. Port 0 takes a free one.
    /// Throws std::runtime_error with one sentence when the port is taken.
    HttpsServer(const CertificatePaths &certificates, int port);
    ~HttpsServer();
    HttpsServer(const HttpsServer &) = delete;
    HttpsServer &operator=(const HttpsServer &) = delete;

    int port() const { return m_port; }

    /// Begins to answer from the service in threads of its own. Both must outlive this object.
    void start(Service &service, Failures &failures);

    /// Returns when the requests that have arrived are answered, which takes five seconds at most.
    /// Idle connections, half requests and failures on purpose hold nothing up for more than a
    /// moment.
    void stop();

private:
    struct Listener;

    bool bindAll(const CertificatePaths &certificates, int port);

    std::vector<std::unique_ptr<Listener>> m_listeners;
    std::vector<std::thread> m_threads;
    std::atomic<int> m_underWay{0}; // requests that have arrived and are not answered yet
    int m_port = 0;
};

#endif // SANDBOX_SERVER_H
