#ifndef TESTS_SUPPORT_MARKINGTRANSLATOR_H
#define TESTS_SUPPORT_MARKINGTRANSLATOR_H

#include <QMutex>
#include <QStringList>
#include <QTranslator>

/// While it lives, every text that is asked for reads as its context with the text behind it:
/// "MainWindow<Login>". What else belongs to the request, a disambiguation or a plural's number,
/// stands behind the text, parted by a stroke.
class MarkingTranslator : public QTranslator
{
    Q_OBJECT

public:
    MarkingTranslator();
    ~MarkingTranslator() override;

    bool isEmpty() const override { return false; }
    QString translate(const char *pContext, const char *pSource, const char *pDisambiguation,
                      int iNumber) const override;

    /// The answers that begin with the context, in the order in which they were asked for.
    QStringList answers(const QString &strContext) const;

private:
    mutable QMutex m_mutex; // the framework's network thread asks too
    mutable QStringList m_answers;
};

#endif // TESTS_SUPPORT_MARKINGTRANSLATOR_H
