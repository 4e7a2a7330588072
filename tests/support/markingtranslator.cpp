// Shows which texts go through the translation, and how.

#include "markingtranslator.h"

#include <QCoreApplication>
#include <QMutexLocker>
#include <QRegularExpression>

MarkingTranslator::MarkingTranslator()
{
    QCoreApplication::installTranslator(this);
}

MarkingTranslator::~MarkingTranslator()
{
    QCoreApplication::removeTranslator(this);
}

QString MarkingTranslator::translate(const char *pContext, const char *pSource,
                                     const char *pDisambiguation, int iNumber) const
{
    QString strAnswer = QString(pContext) + '<' + pSource;
    if (qstrlen(pDisambiguation) != 0)
        strAnswer += QString("|") + pDisambiguation;
    if (iNumber != -1)
        strAnswer += '|' + QString::number(iNumber);
    strAnswer += '>';
    QMutexLocker locker(&m_mutex);
    m_answers << strAnswer;
    return strAnswer;
}

QStringList MarkingTranslator::answers(const QString &strContext) const
{
    QMutexLocker locker(&m_mutex);
    return m_answers.filter(QRegularExpression('^' + strContext + '<'));
}
