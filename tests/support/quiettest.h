#ifndef TESTS_SUPPORT_QUIETTEST_H
#define TESTS_SUPPORT_QUIETTEST_H

#include "windowtest.h"

#include <QObject>

/// A test that no warning passes by: each of its functions begins with an empty log and fails if
/// there is a message above info level at its end. A misspelled connection is one.
class QuietTest : public QObject
{
    Q_OBJECT

protected:
    /// Before and after each function, and as quiet as the function itself.
    virtual void setUp() {}
    virtual void tearDown() {}
    /// A test that expects some leaves those out.
    virtual QStringList unexpectedWarnings() const { return warningLog(); }

private slots:
    void init();
    void cleanup();
};

#endif // TESTS_SUPPORT_QUIETTEST_H
