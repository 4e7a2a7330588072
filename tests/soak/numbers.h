#ifndef SOAK_NUMBERS_H
#define SOAK_NUMBERS_H

class QJsonObject;
class QNetworkAccessManager;

/// What the process holds at this moment.
QJsonObject processNumbers(const QNetworkAccessManager *pManager);

/// Deletes the replies that are kept on purpose, as the window does at its end.
void freeKeptReplies(const QNetworkAccessManager *pManager);

#endif // SOAK_NUMBERS_H
