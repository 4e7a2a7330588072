#ifndef SERVICE_REQUEST_H
#define SERVICE_REQUEST_H

class QByteArray;
class QNetworkAccessManager;
class QNetworkReply;
class QNetworkRequest;
class QString;
class QUrlQuery;

// Every strPath is an endpoint's and begins with a slash.

/// A request that carries the content type of a form post; also for a get without items.
QNetworkRequest formRequest(const QString &strPath);

/// A request with the items in its address and without a content type.
QNetworkRequest queryRequest(const QString &strPath, const QUrlQuery &items);

/// The body of a form post: blanks and non-ASCII characters stay, "&" and "=" inside a value are
/// percent-encoded.
QByteArray formBody(const QUrlQuery &items);

/// Posts the body in such a way that it leaves at most once, whatever the server does. The reply
/// belongs to the manager until its result slot deletes it.
QNetworkReply *postOnce(QNetworkAccessManager *pNetManager, const QNetworkRequest &request,
                        const QByteArray &baBody);

#endif // SERVICE_REQUEST_H
