// The database file: opening it, making it, starting it anew.

#ifndef SANDBOX_STORE_H
#define SANDBOX_STORE_H

#include "calendar.h"
#include "database.h"
#include "filelock.h"

#include <string>

/// A database that stays in its place as long as the lock is held.
struct Store
{
    FileLock lock;
    Database database;
};

/// Opens the sandbox's database. An absent or empty file is filled with the demonstration data of
/// that day; with reset set the file's content is replaced by it.
/// Throws std::runtime_error with one sentence that names the file when it can't be read or
/// written, is damaged, or is somebody else's; such a file is never changed. The same when it is to
/// be replaced while another sandbox uses it; without a reset several may.
Store openStore(const std::string &path, bool reset, Day today);

#endif // SANDBOX_STORE_H
