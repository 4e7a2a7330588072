// Keys and certificates in PEM files.

#ifndef SANDBOX_PEMFILES_H
#define SANDBOX_PEMFILES_H

#include <openssl/x509.h>

#include <memory>
#include <string>

/// Hands what a pointer of OpenSSL's points at to the function that ends it.
template <auto Free>
struct FreedBy
{
    template <typename Thing>
    void operator()(Thing *thing) const
    {
        Free(thing);
    }
};
using CertificatePointer = std::unique_ptr<X509, FreedBy<X509_free>>;
using KeyPointer = std::unique_ptr<EVP_PKEY, FreedBy<EVP_PKEY_free>>;

/// Null when the file is missing, unreadable or holds no such thing.
CertificatePointer readCertificate(const std::string &path);
KeyPointer readKey(const std::string &path);

/// Replace the file whole: nobody ever sees half of one. The key's file has mode 0600 from its
/// first moment on; a certificate's has 0644, so that a copy that others are to trust is readable.
/// Both throw std::runtime_error with one sentence that names the file.
void writeCertificate(const std::string &path, X509 *certificate);
void writeKey(const std::string &path, EVP_PKEY *key);

#endif // SANDBOX_PEMFILES_H
