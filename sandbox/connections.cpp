// Keeping track of open connections through the TLS library's own notices.

#include "connections.h"

#include <sys/socket.h>

#include <memory>

int Connections::exDataIndex()
{
    static const int index =
        SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, &Connections::onFree);
    return index;
}

void Connections::watch(SSL_CTX &context)
{
    exDataIndex();
    SSL_CTX_set_app_data(&context, this);
    SSL_CTX_set_info_callback(&context, &Connections::onInfo);
}

void Connections::cutAll()
{
    // Cut, not closed: the numbers stay taken until their owners close them.
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const int socket : m_sockets)
        shutdown(socket, SHUT_RDWR);
}

void Connections::onInfo(const SSL *ssl, int where, int)
{
    // A TLS 1.3 session ticket is announced as one more handshake.
    if ((where & SSL_CB_HANDSHAKE_START) == 0 || SSL_get_ex_data(ssl, exDataIndex()) != nullptr)
        return;
    auto *owner = static_cast<Connections *>(SSL_CTX_get_app_data(SSL_get_SSL_CTX(ssl)));
    auto entry = std::make_unique<Entry>(Entry{owner, SSL_get_fd(ssl)});
    const std::lock_guard<std::mutex> lock(owner->m_mutex);
    // The library's notice promises not to change anything; the extra data is meant for this.
    if (SSL_set_ex_data(const_cast<SSL *>(ssl), exDataIndex(), entry.get()) == 1)
        owner->m_sockets.insert(entry.release()->socket);
}

void Connections::onFree(void *, void *entry, CRYPTO_EX_DATA *, int, long, void *)
{
    // Runs before the socket is closed, so its number can't belong to another connection yet.
    const std::unique_ptr<Entry> owned(static_cast<Entry *>(entry));
    if (!owned)
        return;
    const std::lock_guard<std::mutex> lock(owned->owner->m_mutex);
    owned->owner->m_sockets.erase(owned->socket);
}
