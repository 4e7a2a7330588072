// The database file: opening it, making it, starting it anew.

#ifndef SANDBOX_DATABASE_H
#define SANDBOX_DATABASE_H

#include "calendar.h"
#include "filelock.h"
#include "sqlite.h"

#include <string>

/// A database that stays in its place as long as the lock is held.
struct LockedDatabase
{
    FileLock lock;
    Database database;
};

/// Opens the sandbox's database. An absent or empty file is filled with the demonstration data of
/// that day; with reset set the file's content is replaced by it.
/// Throws std::runtime_error with one sentence that names the file when it can't be read or
/// written, is damaged, or is somebody else's; such a file is never changed. The same when it is to
/// be replaced while another sandbox uses it; without a reset several may.
LockedDatabase openDatabase(const std::string &path, bool reset, Day today);

#endif // SANDBOX_DATABASE_H
