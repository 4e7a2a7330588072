// What all requests have in common: the address, the form's text, the post that is sent once.

#include "request.h"

#include "oneshotbody.h"
#include "qtversions.h"
#include "servicehost.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>
#include <QUrlQuery>

namespace {
QUrl serviceUrl(const QString &strPath)
{
    return QUrl("https://" + serviceHost() + strPath);
}

QNetworkRequest requestFor(const QUrl &url)
{
    QNetworkRequest request(url);
    // What the service does not answer itself is no answer, whoever it points to.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    setUpTransport(&request);
    return request;
}
} // namespace

QNetworkRequest formRequest(const QString &strPath)
{
    QNetworkRequest request = requestFor(serviceUrl(strPath));
    request.setHeader(QNetworkRequest::ContentTypeHeader, "application/x-www-form-urlencoded");
    return request;
}

QNetworkRequest queryRequest(const QString &strPath, const QUrlQuery &items)
{
    QUrl url = serviceUrl(strPath);
    url.setQuery(items);
    return requestFor(url);
}

QByteArray formBody(const QUrlQuery &items)
{
    return items.toString().toUtf8();
}

QNetworkReply *postOnce(QNetworkAccessManager *pNetManager, const QNetworkRequest &request,
                        const QByteArray &baBody)
{
    auto *pBody = new OneShotBody(baBody);
    QNetworkReply *pReply = pNetManager->post(request, pBody);
    pBody->setParent(pReply);
    return pReply;
}
