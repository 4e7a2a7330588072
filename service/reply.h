#ifndef SERVICE_REPLY_H
#define SERVICE_REPLY_H

class QByteArray;
class QJsonObject;

/// The only result code of a list reply that the client acts on: the service no longer accepts the
/// session.
constexpr int SessionRefused = -99;

/// The reply's JSON object. A body that is empty, malformed or no object gives an empty one, whose
/// members then read as their defaults.
QJsonObject replyObject(const QByteArray &baBody);

#endif // SERVICE_REPLY_H
