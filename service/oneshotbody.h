#ifndef SERVICE_ONESHOTBODY_H
#define SERVICE_ONESHOTBODY_H

#include <QByteArray>
#include <QIODevice>

/// The body of a post that must not arrive twice. The framework silently sends a post again, up to
/// three times, when the server closes before its status line is whole; for that it has to wind the
/// body back, and this one refuses. It knows its size, so the post carries a Content-Length.
class OneShotBody : public QIODevice
{
    Q_OBJECT

public:
    /// The device is open for reading from here on.
    explicit OneShotBody(QByteArray baBody, QObject *pParent = nullptr);

    qint64 size() const override;
    /// Always false.
    bool reset() override;

protected:
    qint64 readData(char *pData, qint64 iMaxSize) override;
    qint64 writeData(const char *pData, qint64 iMaxSize) override;

private:
    QByteArray m_baBody;
};

#endif // SERVICE_ONESHOTBODY_H
