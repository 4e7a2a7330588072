// The open connections, so that stopping does not wait for clients that keep theirs open.

#ifndef SANDBOX_CONNECTIONS_H
#define SANDBOX_CONNECTIONS_H

#include <openssl/ssl.h>

#include <mutex>
#include <set>

/// Knows every connection of the TLS contexts that it watches, from the handshake to the close.
/// Must outlive those contexts' connections.
class Connections
{
public:
    /// Call once for each context, before it is used.
    void watch(SSL_CTX &context);

    /// Cuts all connections: whoever reads from one or writes to one at that moment fails.
    void cutAll();

private:
    struct Entry
    {
        Connections *owner;
        int socket;
    };
    static int exDataIndex();
    static void onInfo(const SSL *ssl, int where, int result);
    static void onFree(void *parent, void *entry, CRYPTO_EX_DATA *data, int index, long argl,
                       void *argp);

    std::mutex m_mutex;
    std::set<int> m_sockets;
};

#endif // SANDBOX_CONNECTIONS_H
