// What is said on a connection: from a request's bytes to the service and back.

#ifndef SANDBOX_HTTPHANDLERS_H
#define SANDBOX_HTTPHANDLERS_H

#include <atomic>

namespace httplib {
class Server;
}
class Failures;
class Service;

/// Makes the server answer every request from the service, with a JSON object for everything,
/// nonsense included, and one log line each. Counts the requests that have arrived and whose reply
/// is not yet sent; those that fail on purpose do not count then. What is referred to must outlive
/// the server.
void serve(httplib::Server &server, Service &service, Failures &failures,
           std::atomic<int> &underWay);

#endif // SANDBOX_HTTPHANDLERS_H
