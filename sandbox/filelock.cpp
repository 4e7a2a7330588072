// The lock between processes.

#include "filelock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace {
[[noreturn]] void fail(const std::string &path)
{
    const std::string reason = std::strerror(errno);
    throw std::runtime_error("The file " + path + " cannot be locked: " + reason + ".");
}
} // namespace

FileLock::FileLock(const std::string &path) :
    m_file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
{
    if (m_file < 0)
        fail(path);
    // A signal that interrupts the wait is no reason to give up.
    int result = flock(m_file, LOCK_EX);
    while (result != 0 && errno == EINTR)
        result = flock(m_file, LOCK_EX);
    if (result != 0) {
        const int reason = errno;
        close(m_file);
        errno = reason;
        fail(path);
    }
}

FileLock::~FileLock()
{
    close(m_file);
}
