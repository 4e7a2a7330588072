// A request body that can be read once and never again.

#include "oneshotbody.h"

#include <algorithm>
#include <utility>

OneShotBody::OneShotBody(QByteArray baBody, QObject *pParent) :
    QIODevice(pParent), m_baBody(std::move(baBody))
{
    // Unbuffered: pos() is then exactly what readData() has handed out.
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

qint64 OneShotBody::size() const
{
    return m_baBody.size();
}

bool OneShotBody::reset()
{
    return false;
}

qint64 OneShotBody::readData(char *pData, qint64 iMaxSize)
{
    const qint64 iSize = std::min(iMaxSize, size() - pos());
    if (iSize <= 0)
        return iMaxSize > 0 ? -1 : 0; // -1 is the end of a body, 0 would be "not yet"
    std::copy_n(m_baBody.constData() + pos(), iSize, pData);
    return iSize;
}

qint64 OneShotBody::writeData(const char *pData, qint64 iMaxSize)
{
    Q_UNUSED(pData)
    Q_UNUSED(iMaxSize)
    return -1;
}
