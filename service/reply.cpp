// Reading a reply's body.

#include "reply.h"

#include <QJsonDocument>
#include <QJsonObject>

QJsonObject replyObject(const QByteArray &baBody)
{
    return QJsonDocument::fromJson(baBody).object();
}
