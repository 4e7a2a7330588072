// Reading and writing PEM files.

#include "pemfiles.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace {
using BioPointer = std::unique_ptr<BIO, FreedBy<BIO_free>>;

void writeFile(const std::string &path, BIO *content, mode_t mode)
{
    char *data = nullptr;
    const long length = BIO_get_mem_data(content, &data);
    const std::string draft = path + ".new";
    unlink(draft.c_str()); // may be left from a process that was killed
    const int file = open(draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    // Opening took the umask's share away. Where this fails there are no modes at all.
    if (file >= 0)
        fchmod(file, mode);
    const bool written = file >= 0 && write(file, data, static_cast<std::size_t>(length)) == length;
    const bool synced = written && fsync(file) == 0;
    const int reason = errno;
    if (file >= 0)
        close(file);
    if (!synced || std::rename(draft.c_str(), path.c_str()) != 0) {
        throw std::runtime_error("The file " + path + " cannot be written: " +
                                 std::strerror(synced ? errno : reason) + ".");
    }
}
} // namespace

CertificatePointer readCertificate(const std::string &path)
{
    const BioPointer bio(BIO_new_file(path.c_str(), "r"));
    CertificatePointer result(bio ? PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr)
                                  : nullptr);
    ERR_clear_error();
    return result;
}

KeyPointer readKey(const std::string &path)
{
    const BioPointer bio(BIO_new_file(path.c_str(), "r"));
    // An empty pass phrase: a key that asks for one is of no use to a service.
    std::string none;
    KeyPointer result(bio ? PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, none.data())
                          : nullptr);
    ERR_clear_error();
    return result;
}

void writeCertificate(const std::string &path, X509 *certificate)
{
    const BioPointer bio(BIO_new(BIO_s_mem()));
    if (!bio || PEM_write_bio_X509(bio.get(), certificate) != 1)
        throw std::runtime_error("The certificate " + path + " cannot be put into PEM form.");
    writeFile(path, bio.get(), 0644);
}

void writeKey(const std::string &path, EVP_PKEY *key)
{
    const BioPointer bio(BIO_new(BIO_s_mem()));
    if (!bio ||
        PEM_write_bio_PKCS8PrivateKey(bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr) != 1)
        throw std::runtime_error("The key " + path + " cannot be put into PEM form.");
    writeFile(path, bio.get(), 0600);
}
