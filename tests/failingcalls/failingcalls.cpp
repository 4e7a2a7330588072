// Makes one call of one function fail: loaded into a process from outside, it counts the calls of
// the function that FAILING_CALL names and refuses the one that FAILING_CALL_NUMBER names, with the
// error FAILING_CALL_ERROR. To the file FAILING_CALL_REPORT it writes who made that call and, at
// the process's end, how many calls there were. "alloc" stands for malloc, calloc and realloc, and
// with them for operator new, counted from the mark that the probe sets when the window is there.
//
// Only calls between libraries can be refused: those inside the C library stay as they are. A
// process that crashes writes its stack to the same file first.

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <netdb.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {
constexpr int MostFrames = 60;
constexpr long ListCalls = -1;
constexpr int ToldApart = 10; // frames, by which callers are told apart

// Of plain types without constructors: calls come before those would have run.
const char *g_pCall = nullptr; // none until the plan is read
long g_iNumber = 0;
int g_iError = 0;
int g_iReport = -1;
std::atomic<long> g_iCount{0};
std::atomic<bool> g_bCounting{false};
// With this model the first use in a thread allocates nothing.
__attribute__((tls_model("initial-exec"))) thread_local int t_iPause = 0;

template <typename Function>
Function real(const char *pName)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, pName));
}

void report(const char *pWord, long iNumber)
{
    std::array<char, 64> line{};
    const int iLength = std::snprintf(line.data(), line.size(), "%s %ld\n", pWord, iNumber);
    // Not by a call that might be the one that is refused.
    syscall(SYS_write, g_iReport, line.data(), iLength);
}

void reportCall(long iCall)
{
    std::array<void *, ToldApart> frames{};
    const int iFrames = backtrace(frames.data(), ToldApart);
    unsigned long iCaller = 0;
    for (int iFrame = 0; iFrame < iFrames; ++iFrame)
        iCaller = iCaller * 31 + reinterpret_cast<unsigned long>(frames.at(iFrame));
    std::array<char, 64> line{};
    const int iLength = std::snprintf(line.data(), line.size(), "call %ld %lx\n", iCall, iCaller);
    syscall(SYS_write, g_iReport, line.data(), iLength);
}

void reportCaller()
{
    std::array<void *, MostFrames> frames{};
    const int iFrames = backtrace(frames.data(), MostFrames);
    backtrace_symbols_fd(frames.data(), iFrames, g_iReport);
}

/// Whether the call of this name that is made now is the one to refuse.
bool isRefused(const char *pCall)
{
    if (!g_bCounting || t_iPause > 0 || std::strcmp(pCall, g_pCall) != 0)
        return false;
    const long iCall = ++g_iCount;
    if (iCall != g_iNumber && g_iNumber != ListCalls)
        return false;
    ++t_iPause;
    if (g_iNumber == ListCalls) {
        reportCall(iCall);
    } else {
        report("refused", iCall);
        reportCaller();
        errno = g_iError;
    }
    --t_iPause;
    return g_iNumber != ListCalls;
}

/// What wakes up an event loop is neither a file nor a line, and its calls do not fail so.
bool canFail(int iFile)
{
    struct stat status
    {
    };
    const int iError = errno;
    const bool bCanFail = fstat(iFile, &status) != 0 || (status.st_mode & S_IFMT) != 0;
    errno = iError;
    return bCanFail;
}

void reportCrash(int iSignal)
{
    ++t_iPause;
    report("signal", iSignal);
    reportCaller();
    // The handler is gone by now, and the signal comes once more when this one returns: behind a
    // breakpoint, which GLib ends itself with, the process would otherwise go on.
    raise(iSignal);
}

__attribute__((constructor)) void readPlan()
{
    g_pCall = std::getenv("FAILING_CALL");
    if (!g_pCall)
        return;
    const auto number = [](const char *pName) {
        const char *pText = std::getenv(pName);
        return pText ? std::strtol(pText, nullptr, 10) : 0;
    };
    g_iNumber = number("FAILING_CALL_NUMBER");
    g_iError = static_cast<int>(number("FAILING_CALL_ERROR"));
    g_iReport = static_cast<int>(syscall(SYS_openat, AT_FDCWD, std::getenv("FAILING_CALL_REPORT"),
                                         O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    std::array<void *, 1> frame{};
    backtrace(frame.data(), 1); // the first one loads a library
    struct sigaction action
    {
    };
    action.sa_handler = reportCrash;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int iSignal : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGTRAP})
        sigaction(iSignal, &action, nullptr);
    g_bCounting = std::strcmp(g_pCall, "alloc") != 0;
}

__attribute__((destructor)) void reportCount()
{
    if (g_pCall)
        report("counted", g_iCount);
}

mode_t openMode(int iFlags, va_list arguments)
{
    return (iFlags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
}
} // namespace

extern "C" {

void failing_calls_pause(int iPause)
{
    t_iPause += iPause;
}

void failing_calls_mark()
{
    g_bCounting = g_pCall != nullptr;
}

int open(const char *pPath, int iFlags, ...)
{
    va_list arguments;
    va_start(arguments, iFlags);
    const mode_t mode = openMode(iFlags, arguments);
    va_end(arguments);
    static const auto next = real<decltype(&open)>("open");
    return isRefused("open") ? -1 : next(pPath, iFlags, mode);
}

int open64(const char *pPath, int iFlags, ...)
{
    va_list arguments;
    va_start(arguments, iFlags);
    const mode_t mode = openMode(iFlags, arguments);
    va_end(arguments);
    static const auto next = real<decltype(&open64)>("open64");
    return isRefused("open") ? -1 : next(pPath, iFlags, mode);
}

int openat(int iFolder, const char *pPath, int iFlags, ...)
{
    va_list arguments;
    va_start(arguments, iFlags);
    const mode_t mode = openMode(iFlags, arguments);
    va_end(arguments);
    static const auto next = real<decltype(&openat)>("openat");
    return isRefused("open") ? -1 : next(iFolder, pPath, iFlags, mode);
}

int openat64(int iFolder, const char *pPath, int iFlags, ...)
{
    va_list arguments;
    va_start(arguments, iFlags);
    const mode_t mode = openMode(iFlags, arguments);
    va_end(arguments);
    static const auto next = real<decltype(&openat64)>("openat64");
    return isRefused("open") ? -1 : next(iFolder, pPath, iFlags, mode);
}

ssize_t read(int iFile, void *pBytes, size_t iSize)
{
    static const auto next = real<decltype(&read)>("read");
    return canFail(iFile) && isRefused("read") ? -1 : next(iFile, pBytes, iSize);
}

ssize_t write(int iFile, const void *pBytes, size_t iSize)
{
    static const auto next = real<decltype(&write)>("write");
    return canFail(iFile) && isRefused("write") ? -1 : next(iFile, pBytes, iSize);
}

int socket(int iDomain, int iType, int iProtocol)
{
    static const auto next = real<decltype(&socket)>("socket");
    return isRefused("socket") ? -1 : next(iDomain, iType, iProtocol);
}

int connect(int iSocket, const sockaddr *pAddress, socklen_t iLength)
{
    static const auto next = real<decltype(&connect)>("connect");
    return isRefused("connect") ? -1 : next(iSocket, pAddress, iLength);
}

int getaddrinfo(const char *pNode, const char *pService, const addrinfo *pHints,
                addrinfo **ppResult)
{
    static const auto next = real<decltype(&getaddrinfo)>("getaddrinfo");
    return isRefused("getaddrinfo") ? g_iError : next(pNode, pService, pHints, ppResult);
}

int pthread_create(pthread_t *pThread, const pthread_attr_t *pAttributes, void *(*pStart)(void *),
                   void *pArgument)
{
    static const auto next = real<decltype(&pthread_create)>("pthread_create");
    return isRefused("pthread_create") ? g_iError : next(pThread, pAttributes, pStart, pArgument);
}

void *malloc(size_t iSize)
{
    static const auto next = real<decltype(&malloc)>("malloc");
    return isRefused("alloc") ? nullptr : next(iSize);
}

void *calloc(size_t iCount, size_t iSize)
{
    static const auto next = real<decltype(&calloc)>("calloc");
    return isRefused("alloc") ? nullptr : next(iCount, iSize);
}

void *realloc(void *pOld, size_t iSize)
{
    static const auto next = real<decltype(&realloc)>("realloc");
    return isRefused("alloc") ? nullptr : next(pOld, iSize);
}

} // extern "C"
