// The rules of a booking: which days can be booked, how the date is written, what is asked.

#include "quiettest.h"

#include "window/bookingrules.h"

#include <QDate>
#include <QHash>
#include <QLocale>
#include <QTranslator>

namespace {
const char *const ActivationTemplate =
    "You are about to activate %1 trackers.\n Starting %2 and during %3 days. Are you sure?";
const char *const ProfileTemplate =
    "You are about to set %2 profile on %1 trackers.\n Are you sure?";

/// Answers the texts of one context with those it was given, as long as it lives.
class TemplateTranslator : public QTranslator
{
    Q_OBJECT

public:
    TemplateTranslator(const QByteArray &baContext, const QHash<QByteArray, QString> &texts) :
        m_baContext(baContext), m_texts(texts)
    {
        QCoreApplication::installTranslator(this);
    }
    ~TemplateTranslator() override { QCoreApplication::removeTranslator(this); }

    bool isEmpty() const override { return false; }
    QString translate(const char *pContext, const char *pSource, const char *pDisambiguation,
                      int iNumber) const override
    {
        const bool bPlain = qstrlen(pDisambiguation) == 0 && iNumber == -1;
        return m_baContext == pContext && bPlain ? m_texts.value(pSource) : QString();
    }

private:
    QByteArray m_baContext;
    QHash<QByteArray, QString> m_texts;
};
} // namespace

class TestBookingRules : public QuietTest
{
    Q_OBJECT

private slots:
    void days_data();
    void days();

    void date_data();
    void date();
    void dateUnderDefaultLocale_data();
    void dateUnderDefaultLocale();
    void dateUnderSystemLocale_data();
    void dateUnderSystemLocale();

    void activationQuestions_data();
    void activationQuestions();
    void profileQuestions_data();
    void profileQuestions();
    void questionsAreTranslated();
    void questionsOfOtherContexts();

private:
    void tearDown() override { QLocale::setDefault(QLocale::system()); }
};

void TestBookingRules::days_data()
{
    QTest::addColumn<int>("wanted");
    QTest::addColumn<int>("booked");
    QTest::newRow("least") << 2 << 2;
    QTest::newRow("last below the gap") << 3 << 3;
    QTest::newRow("first of the gap") << 4 << 7;
    QTest::newRow("middle of the gap") << 5 << 7;
    QTest::newRow("last of the gap") << 6 << 7;
    QTest::newRow("a week") << 7 << 7;
    QTest::newRow("first above the gap") << 8 << 8;
    QTest::newRow("begins like one of the gap") << 45 << 45;
    QTest::newRow("greatest") << 365 << 365;
    QTest::newRow("below the range") << 0 << 0;
    QTest::newRow("negative") << -5 << -5;
}

void TestBookingRules::days()
{
    QFETCH(int, wanted);
    QTEST(bookableDays(wanted), "booked");
    QCOMPARE(bookableDays(bookableDays(wanted)), bookableDays(wanted));
}

void TestBookingRules::date_data()
{
    QTest::addColumn<QDate>("day");
    QTest::addColumn<QString>("text");
    QTest::newRow("one-digit month and day") << QDate(2024, 3, 1) << "2024-03-01";
    QTest::newRow("two-digit month and day") << QDate(2026, 12, 31) << "2026-12-31";
    QTest::newRow("leap day") << QDate(2028, 2, 29) << "2028-02-29";
    QTest::newRow("short year") << QDate(999, 1, 1) << "0999-01-01";
}

void TestBookingRules::date()
{
    QFETCH(QDate, day);
    // Set by a run of this process under another locale: what it would be without care.
    const QString strCareless = qEnvironmentVariable("CARELESS_DATE");
    if (!strCareless.isEmpty())
        QCOMPARE(QLocale::system().toString(QDate(2024, 3, 1), "yyyy-MM-dd"), strCareless);
    QTEST(serviceDate(day), "text");
}

void TestBookingRules::dateUnderDefaultLocale_data()
{
    QTest::addColumn<QString>("locale");
    QTest::newRow("Arabic") << "ar_EG";
    QTest::newRow("Persian") << "fa_IR";
    QTest::newRow("Marathi") << "mr_IN";
    QTest::newRow("Thai") << "th_TH";
}

void TestBookingRules::dateUnderDefaultLocale()
{
    QFETCH(QString, locale);
    QLocale::setDefault(QLocale(locale));
    QCOMPARE(serviceDate(QDate(2024, 3, 1)), QString("2024-03-01"));
}

void TestBookingRules::dateUnderSystemLocale_data()
{
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("careless");
    QTest::newRow("Arabic") << "ar_EG.UTF-8" << QString::fromUtf8("٢٠٢٤-٠٣-٠١");
    QTest::newRow("Persian") << "fa_IR" << QString::fromUtf8("۲۰۲۴-۰۳-۰۱");
    QTest::newRow("Marathi") << "mr_IN" << QString::fromUtf8("२०२४-०३-०१");
    QTest::newRow("English") << "en_US.UTF-8"
                             << "2024-03-01";
}

void TestBookingRules::dateUnderSystemLocale()
{
    QFETCH(QString, locale);
    QFETCH(QString, careless);
    QCOMPARE(failureUnderLocale("date", locale, {{"CARELESS_DATE", careless}}), QString());
}

void TestBookingRules::activationQuestions_data()
{
    QTest::addColumn<int>("trackers");
    QTest::addColumn<QString>("start");
    QTest::addColumn<int>("days");
    QTest::addColumn<QString>("text");
    QTest::newRow("several")
        << 2 << "2024-03-01" << 14
        << "You are about to activate 2 trackers.\n Starting 2024-03-01 and during 14 days. "
           "Are you sure?";
    QTest::newRow("the plural stays")
        << 1 << "2024-03-01" << 7
        << "You are about to activate 1 trackers.\n Starting 2024-03-01 and during 7 days. "
           "Are you sure?";
    QTest::newRow("no separator in thousands")
        << 10000 << "2026-12-31" << 365
        << "You are about to activate 10000 trackers.\n Starting 2026-12-31 and during 365 days. "
           "Are you sure?";
    QTest::newRow("days that are no number")
        << 3 << "2024-03-01" << 0
        << "You are about to activate 3 trackers.\n Starting 2024-03-01 and during 0 days. "
           "Are you sure?";
    // One after another: what one placeholder brought in is looked at for the next.
    QTest::newRow("placeholder in the date")
        << 2 << "%3" << 7
        << "You are about to activate 2 trackers.\n Starting 7 and during 7 days. Are you sure?";
}

void TestBookingRules::activationQuestions()
{
    QFETCH(int, trackers);
    QFETCH(QString, start);
    QFETCH(int, days);
    QTEST(activationQuestion(trackers, start, days), "text");
    QLocale::setDefault(QLocale("ar_EG"));
    QTEST(activationQuestion(trackers, start, days), "text");
}

void TestBookingRules::profileQuestions_data()
{
    QTest::addColumn<int>("trackers");
    QTest::addColumn<QString>("profile");
    QTest::addColumn<QString>("text");
    QTest::newRow("extended")
        << 3 << "extended"
        << "You are about to set extended profile on 3 trackers.\n Are you sure?";
    QTest::newRow("normal, and the plural stays")
        << 1 << "normal"
        << "You are about to set normal profile on 1 trackers.\n Are you sure?";
    QTest::newRow("no separator in thousands")
        << 10000 << "normal"
        << "You are about to set normal profile on 10000 trackers.\n Are you sure?";
}

void TestBookingRules::profileQuestions()
{
    QFETCH(int, trackers);
    QFETCH(QString, profile);
    QTEST(profileQuestion(trackers, profile), "text");
}

void TestBookingRules::questionsAreTranslated()
{
    const TemplateTranslator translator(
        "MainWindow",
        {{ActivationTemplate, "%3 Tage ab %2\nfür %1?"}, {ProfileTemplate, "%1 auf %2 setzen?"}});
    QCOMPARE(activationQuestion(2, "2024-03-01", 14),
             QString::fromUtf8("14 Tage ab 2024-03-01\nfür 2?"));
    // The word is the program's own and has no translation.
    QCOMPARE(profileQuestion(3, "extended"), QString("3 auf extended setzen?"));
}

void TestBookingRules::questionsOfOtherContexts()
{
    const TemplateTranslator translator(
        "EditTracker", {{ActivationTemplate, "%1%2%3"}, {ProfileTemplate, "%1%2"}});
    QVERIFY(activationQuestion(2, "2024-03-01", 14).startsWith("You are about to activate 2"));
    QVERIFY(profileQuestion(3, "normal").startsWith("You are about to set normal"));
}

VELTRANO_TEST_MAIN(TestBookingRules)
#include "tst_bookingrules.moc"
