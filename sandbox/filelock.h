// A lock between processes, so that two starts at the same moment do not make two authorities.

#ifndef SANDBOX_FILELOCK_H
#define SANDBOX_FILELOCK_H

#include <string>

/// Held from construction, which waits for it, to destruction. A killed process holds nothing.
class FileLock
{
public:
    /// The file is made if it is missing and stays. Throws std::runtime_error.
    explicit FileLock(const std::string &path);
    ~FileLock();
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;

private:
    int m_file = -1;
};

#endif // SANDBOX_FILELOCK_H
