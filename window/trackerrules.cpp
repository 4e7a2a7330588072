// How a tracker's facts read in the table.

#include "trackerrules.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

Light trackerLight(const QString &strState, bool bPending)
{
    if (strState == "A")
        return Light::Green;
    return bPending ? Light::Yellow : Light::Red;
}

QString firmwareText(const QString &strVersion)
{
    QString strText = strVersion;
    // Inserting past the end fills up with a blank.
    return strText.insert(1, ".");
}

QString otherGroupsText(const QJsonArray &groups)
{
    QString strText;
    for (const QJsonValue &group : groups) {
        strText += strText.isEmpty() ? "other groups:" : ",";
        strText += group.toObject()["id"].toString();
    }
    return strText;
}
