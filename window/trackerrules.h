#ifndef WINDOW_TRACKERRULES_H
#define WINDOW_TRACKERRULES_H

class QJsonArray;
class QString;

enum class Light { Green, Yellow, Red };

/// Green while the tracker is active ("A", exactly), whatever is pending; otherwise yellow if a
/// period is pending, else red.
Light trackerLight(const QString &strState, bool bPending);

/// The version's digits with a point after the first: "305" gives "3.05". An empty text gives " .".
QString firmwareText(const QString &strVersion);

/// The tool tip that lists the ids of the tracker's other groups: "other groups:12,40". Empty
/// without groups; a group without an id keeps its place between the commas.
QString otherGroupsText(const QJsonArray &groups);

#endif // WINDOW_TRACKERRULES_H
