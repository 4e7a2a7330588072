// The rules of a booking: its days, its date and what is asked before it is sent.

#include "bookingrules.h"

#include <QCoreApplication>
#include <QDate>
#include <QLocale>
#include <QString>

namespace {
constexpr int FirstRaisedDays = 4;
constexpr int LastRaisedDays = 6;
constexpr int Week = 7;
} // namespace

int bookableDays(int iDays)
{
    return iDays >= FirstRaisedDays && iDays <= LastRaisedDays ? Week : iDays;
}

QString serviceDate(const QDate &date)
{
    // The date's own toString() writes the digits of the system's locale.
    return QLocale::c().toString(date, "yyyy-MM-dd");
}

QString activationQuestion(int iTrackers, const QString &strStart, int iDays)
{
    return QCoreApplication::translate("MainWindow",
                                       "You are about to activate %1 trackers.\n Starting %2 and "
                                       "during %3 days. Are you sure?")
        .arg(iTrackers)
        .arg(strStart)
        .arg(iDays);
}

QString profileQuestion(int iTrackers, const QString &strProfile)
{
    return QCoreApplication::translate(
               "MainWindow", "You are about to set %2 profile on %1 trackers.\n Are you sure?")
        .arg(iTrackers)
        .arg(strProfile);
}
