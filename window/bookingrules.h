#ifndef WINDOW_BOOKINGRULES_H
#define WINDOW_BOOKINGRULES_H

class QDate;
class QString;

/// 4, 5 and 6 days are raised to a full week; every other number stays as it is.
int bookableDays(int iDays);

/// The date as the service reads it, "yyyy-MM-dd" in ASCII digits whatever the system's are.
QString serviceDate(const QDate &date);

/// What the operator is asked before trackers are activated; translated.
QString activationQuestion(int iTrackers, const QString &strStart, int iDays);

/// What the operator is asked before a profile is set; translated, but for the profile's word.
QString profileQuestion(int iTrackers, const QString &strProfile);

#endif // WINDOW_BOOKINGRULES_H
