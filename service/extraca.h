#ifndef SERVICE_EXTRACA_H
#define SERVICE_EXTRACA_H

class QSslCertificate;
template <typename T>
class QList;

/// The CA certificates of the build's own PEM file, in the file's order; empty in a build without
/// one. Like the service host it belongs to the program and not to the object library.
QList<QSslCertificate> extraCaCertificates();

#endif // SERVICE_EXTRACA_H
