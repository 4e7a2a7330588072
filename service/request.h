#ifndef SERVICE_REQUEST_H
#define SERVICE_REQUEST_H

class QByteArray;
class QNetworkAccessManager;
class QNetworkReply;
class QNetworkRequest;
class QString;
class QUrl;
class QUrlQuery;

/// The address of one endpoint; strPath begins with a slash.
QUrl serviceUrl(const QString &strPath);

/// A request to one endpoint that carries the content type of a form post.
QNetworkRequest formRequest(const QString &strPath);

/// The body of a form post: blanks and non-ASCII characters stay, "&" and "=" inside a value are
/// percent-encoded.
QByteArray formBody(const QUrlQuery &items);

/// Posts the body in such a way that it leaves at most once, whatever the server does. The reply
/// belongs to the manager until its result slot deletes it.
QNetworkReply *postOnce(QNetworkAccessManager *pNetManager, const QNetworkRequest &request,
                        const QByteArray &baBody);

#endif // SERVICE_REQUEST_H
