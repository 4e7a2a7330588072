// How a tracker's facts read in the table.

#include "trackerrules.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

Light trackerLight(const QString &strState, bool bPending)
{
    if (strState == QLatin1String("A"))
        return Light::Green;
    return bPending ? Light::Yellow : Light::Red;
}

QString firmwareText(const QString &strVersion)
{
    QString strText = strVersion;
    // Inserting past the end fills up with a blank.
    return strText.insert(1, QLatin1Char('.'));
}

QString otherGroupsText(const QJsonArray &groups)
{
    QString strText;
    for (const QJsonValue &group : groups) {
        strText += strText.isEmpty() ? QLatin1String("other groups:") : QLatin1String(",");
        strText += group.toObject()[QLatin1String("id")].toString();
    }
    return strText;
}
