// The sandbox's own certificate authority and its server certificate.

#ifndef SANDBOX_CERTIFICATES_H
#define SANDBOX_CERTIFICATES_H

#include <string>

/// Where the files are, all PEM.
struct CertificatePaths
{
    std::string authority;    ///< what clients are built with; stays the same once made
    std::string authorityKey; ///< mode 0600
    std::string server;
    std::string serverKey; ///< mode 0600
};

/// The paths inside a data folder.
CertificatePaths certificatePaths(const std::string &folder);

/// Makes what is missing and renews a server certificate that ends within 30 days or that the
/// authority did not sign; the folder must exist. The authority may vouch for localhost and the two
/// loopback addresses only. An authority that clients may already trust is never replaced: throws
/// std::runtime_error with one sentence when its files are damaged or do not belong together.
void ensureCertificates(const CertificatePaths &paths);

#endif // SANDBOX_CERTIFICATES_H
