// The host of the web service, fixed when the program is built.

#include "servicehost.h"

#include <QString>

QString serviceHost()
{
    return QStringLiteral(VELTRANO_SERVICE_HOST);
}
