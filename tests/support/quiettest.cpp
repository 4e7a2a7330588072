// The silence around each function of a test.

#include "quiettest.h"

void QuietTest::init()
{
    startLog();
    setUp();
}

void QuietTest::cleanup()
{
    tearDown();
    QCOMPARE(unexpectedWarnings(), QStringList());
}
