// Locks between processes.

#include "filelock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace {
[[noreturn]] void fail(const std::string &path)
{
    const std::string reason = std::strerror(errno);
    throw std::runtime_error("The file " + path + " cannot be locked: " + reason + ".");
}
} // namespace

FileLock::FileLock(const std::string &path) :
    m_path(path), m_file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
{
    if (m_file < 0)
        fail(path);
}

FileLock::FileLock(FileLock &&other) noexcept :
    m_path(std::move(other.m_path)), m_file(std::exchange(other.m_file, -1))
{
}

FileLock::~FileLock()
{
    if (m_file >= 0)
        close(m_file);
}

void FileLock::wait()
{
    static_cast<void>(lock(LOCK_EX));
}

bool FileLock::take(Kind kind)
{
    return lock((kind == Shared ? LOCK_SH : LOCK_EX) | LOCK_NB);
}

bool FileLock::lock(int operation)
{
    // A signal that interrupts the wait is no reason to give up.
    int result = flock(m_file, operation);
    while (result != 0 && errno == EINTR)
        result = flock(m_file, operation);
    if (result != 0 && errno != EWOULDBLOCK)
        fail(m_path);
    return result == 0;
}
