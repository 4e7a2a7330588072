// Locks between processes.

#ifndef SANDBOX_FILELOCK_H
#define SANDBOX_FILELOCK_H

#include <string>

/// A lock that lasts as long as this object. A killed process holds nothing.
class FileLock
{
public:
    enum Kind { Shared, Exclusive };

    /// Holds nothing yet. The file is made if it is missing and stays: its name is what matters.
    /// Throws std::runtime_error, as all do.
    explicit FileLock(const std::string &path);
    FileLock(FileLock &&other) noexcept;
    FileLock &operator=(FileLock &&) = delete;
    ~FileLock();

    /// Waits until nobody else holds it.
    void wait();
    /// False when somebody else holds it. A lock that is held already is changed to the new kind.
    bool take(Kind kind);

private:
    bool lock(int operation);

    std::string m_path;
    int m_file = -1;
};

#endif // SANDBOX_FILELOCK_H
