// Stands in for the C library in the process that loads it. The service's name has an address of
// the loopback network of its own, so many clients of one build can run side by side; and the clock
// can be set at any time, at no cost: for each pair of cookies the framework looks at it.

#include "surroundings.h"

#include <QMutex>
#include <QWaitCondition>

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <netdb.h>
#include <sys/time.h>

namespace {
struct Names
{
    QMutex mutex;
    QWaitCondition changed;
    Resolving resolving = Resolving::Known;
    QStringList others;
    int waiting = 0;
};

Names *names()
{
    static Names theNames;
    return &theNames;
}

/// True if the name is to be resolved; waits while the resolver is silent.
bool isKnown(const QString &strName)
{
    if (strName.endsWith(FILLER_DOMAIN))
        return true;
    const QMutexLocker locker(&names()->mutex);
    if (strName != "localhost") {
        names()->others << strName;
        return false;
    }
    ++names()->waiting;
    while (names()->resolving == Resolving::Silent)
        names()->changed.wait(&names()->mutex);
    --names()->waiting;
    return names()->resolving == Resolving::Known;
}

std::atomic<long> &clockAhead()
{
    static std::atomic<long> iSeconds{std::atol(qgetenv("VELTRANO_AHEAD").constData())};
    return iSeconds;
}

/// The C library's own function of this name.
template <typename Function>
Function *original(const char *pName)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, pName));
}
} // namespace

void setResolving(Resolving resolving)
{
    const QMutexLocker locker(&names()->mutex);
    names()->resolving = resolving;
    names()->changed.wakeAll();
}

int namesWaiting()
{
    const QMutexLocker locker(&names()->mutex);
    return names()->waiting;
}

QStringList otherNamesAsked()
{
    const QMutexLocker locker(&names()->mutex);
    return names()->others;
}

void forgetOtherNames()
{
    const QMutexLocker locker(&names()->mutex);
    names()->others.clear();
}

void setClockAhead(long iSeconds)
{
    clockAhead() = iSeconds;
}

// What the framework and the TLS library call in the C library's place.

extern "C" int getaddrinfo(const char *pNode, const char *pService, const addrinfo *pHints,
                           addrinfo **ppResult)
{
    static const auto pOriginal = original<decltype(getaddrinfo)>("getaddrinfo");
    if (!isKnown(QString::fromLocal8Bit(pNode)))
        return EAI_NONAME;
    addrinfo hints = *pHints;
    hints.ai_family = AF_INET;
    return pOriginal(std::getenv("VELTRANO_ADDRESS"), pService, &hints, ppResult);
}

extern "C" int clock_gettime(clockid_t clock, timespec *pTime) noexcept
{
    static const auto pOriginal = original<int(clockid_t, timespec *)>("clock_gettime");
    const int iResult = pOriginal(clock, pTime);
    // Time-outs are measured with the clock that nobody sets.
    if (clock == CLOCK_REALTIME)
        pTime->tv_sec += clockAhead();
    return iResult;
}

extern "C" int gettimeofday(timeval *pTime, void *pZone) noexcept
{
    static const auto pOriginal = original<int(timeval *, void *)>("gettimeofday");
    const int iResult = pOriginal(pTime, pZone);
    pTime->tv_sec += clockAhead();
    return iResult;
}

extern "C" time_t time(time_t *pTime) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (pTime != nullptr)
        *pTime = now.tv_sec;
    return now.tv_sec;
}
