// Making and keeping the certificates.

#include "certificates.h"

#include "filelock.h"
#include "pemfiles.h"
#include "privacy.h"
#include "randomness.h"

#include <openssl/evp.h>
#include <openssl/x509v3.h>

#include <filesystem>
#include <stdexcept>

namespace {
constexpr int SerialBytes = 16;
constexpr int DaysOfAuthority = 3650;
// No more than every TLS library takes without a complaint.
constexpr int DaysOfServer = 397;
constexpr int RenewalDays = 30;
constexpr long SecondsPerDay = 86400;

void require(bool ok, const char *what)
{
    if (!ok)
        throw std::runtime_error(std::string("The certificates cannot be made: ") + what + ".");
}

void addExtension(X509 *certificate, X509 *issuer, int nid, const char *value)
{
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const std::unique_ptr<X509_EXTENSION, FreedBy<X509_EXTENSION_free>> extension(
        X509V3_EXT_conf_nid(nullptr, &context, nid, value));
    require(extension && X509_add_ext(certificate, extension.get(), -1) == 1, value);
}

void setSerial(X509 *certificate)
{
    std::string bytes = randomBytes(SerialBytes);
    bytes[0] = static_cast<char>((static_cast<unsigned char>(bytes[0]) & 0x7fU) | 0x40U);
    const std::unique_ptr<BIGNUM, FreedBy<BN_free>> number(
        BN_bin2bn(reinterpret_cast<const unsigned char *>(bytes.data()), SerialBytes, nullptr));
    require(number &&
                BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)) != nullptr,
            "serial number");
}

CertificatePointer newCertificate(EVP_PKEY *key, const std::string &commonName, int days)
{
    CertificatePointer certificate(X509_new());
    require(certificate != nullptr, "out of memory");
    X509 *x509 = certificate.get();
    require(X509_set_version(x509, X509_VERSION_3) == 1, "version");
    setSerial(x509);
    // From yesterday on, so that a clock that is set back a little does no harm.
    X509_gmtime_adj(X509_getm_notBefore(x509), -SecondsPerDay);
    X509_gmtime_adj(X509_getm_notAfter(x509), days * SecondsPerDay);
    require(X509_set_pubkey(x509, key) == 1, "public key");
    require(X509_NAME_add_entry_by_txt(X509_get_subject_name(x509), "CN", MBSTRING_UTF8,
                                       reinterpret_cast<const unsigned char *>(commonName.c_str()),
                                       -1, -1, 0) == 1,
            "name");
    return certificate;
}

KeyPointer newKey()
{
    KeyPointer key(EVP_EC_gen("P-256"));
    require(key != nullptr, "key");
    return key;
}

void makeAuthority(const CertificatePaths &paths)
{
    const KeyPointer key = newKey();
    // The number tells the authorities of two machines or folders apart.
    const CertificatePointer certificate =
        newCertificate(key.get(), "Veltrano sandbox CA " + randomHex(4), DaysOfAuthority);
    X509 *x509 = certificate.get();
    require(X509_set_issuer_name(x509, X509_get_subject_name(x509)) == 1, "issuer");
    addExtension(x509, x509, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
    addExtension(x509, x509, NID_key_usage, "critical,keyCertSign,cRLSign");
    addExtension(x509, x509, NID_subject_key_identifier, "hash");
    addExtension(x509, x509, NID_name_constraints,
                 "critical,permitted;DNS:localhost,permitted;IP:127.0.0.1/255.255.255.255,"
                 "permitted;IP:0:0:0:0:0:0:0:1/FFFF:FFFF:FFFF:FFFF:FFFF:FFFF:FFFF:FFFF");
    require(X509_sign(x509, key.get(), EVP_sha256()) > 0, "signature");
    // The certificate last: from the moment it is there, somebody may trust it, and its key is
    // kept.
    writeKey(paths.authorityKey, key.get());
    writeCertificate(paths.authority, x509);
}

void makeServer(const CertificatePaths &paths, X509 *authority, EVP_PKEY *authorityKey)
{
    const KeyPointer key = newKey();
    const CertificatePointer certificate = newCertificate(key.get(), "localhost", DaysOfServer);
    X509 *x509 = certificate.get();
    require(X509_set_issuer_name(x509, X509_get_subject_name(authority)) == 1, "issuer");
    addExtension(x509, authority, NID_basic_constraints, "critical,CA:FALSE");
    addExtension(x509, authority, NID_key_usage, "critical,digitalSignature");
    addExtension(x509, authority, NID_ext_key_usage, "serverAuth");
    addExtension(x509, authority, NID_subject_key_identifier, "hash");
    addExtension(x509, authority, NID_authority_key_identifier, "keyid:always");
    addExtension(x509, authority, NID_subject_alt_name,
                 "DNS:localhost,IP:127.0.0.1,IP:0:0:0:0:0:0:0:1");
    require(X509_sign(x509, authorityKey, EVP_sha256()) > 0, "signature");
    writeKey(paths.serverKey, key.get());
    writeCertificate(paths.server, x509);
}

bool lastsFor(const X509 *certificate, int days)
{
    int wholeDays = 0;
    int seconds = 0;
    return ASN1_TIME_diff(&wholeDays, &seconds, nullptr, X509_get0_notAfter(certificate)) == 1 &&
           wholeDays >= days && seconds >= 0;
}

bool serverIsGood(const CertificatePaths &paths, const X509 *authority)
{
    const CertificatePointer certificate = readCertificate(paths.server);
    const KeyPointer key = readKey(paths.serverKey);
    return certificate && key && X509_check_private_key(certificate.get(), key.get()) == 1 &&
           X509_verify(certificate.get(), X509_get0_pubkey(authority)) == 1 &&
           lastsFor(certificate.get(), RenewalDays);
}
} // namespace

CertificatePaths certificatePaths(const std::string &folder)
{
    return {folder + "/ca.pem", folder + "/ca.key", folder + "/server.pem", folder + "/server.key"};
}

void ensureCertificates(const CertificatePaths &paths)
{
    // Two starts at the same moment must not make two authorities.
    FileLock lock(paths.authorityKey + ".lock");
    lock.wait();
    if (!std::filesystem::exists(paths.authority))
        makeAuthority(paths);

    const CertificatePointer authority = readCertificate(paths.authority);
    const KeyPointer key = readKey(paths.authorityKey);
    if (!authority || !key || X509_check_private_key(authority.get(), key.get()) != 1 ||
        !lastsFor(authority.get(), 0)) {
        throw std::runtime_error("The CA certificate " + paths.authority + " and its key " +
                                 paths.authorityKey +
                                 " are no longer of use; delete both, start again, and build the "
                                 "clients with the new certificate.");
    }
    if (!serverIsGood(paths, authority.get()))
        makeServer(paths, authority.get(), key.get());
    keepFromOthers(paths.authorityKey);
    keepFromOthers(paths.serverKey);
}
