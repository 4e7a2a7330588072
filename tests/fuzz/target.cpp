// How a target reports that something does not hold.

#include "target.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

void mustHold(bool bHolds, const char *pSentence)
{
    if (bHolds)
        return;
    // Not by way of the standard stream, which a target may have put aside.
    dprintf(STDERR_FILENO, "DOES NOT HOLD: %s\n", pSentence);
    std::abort();
}
