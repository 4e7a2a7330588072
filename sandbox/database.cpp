// The database file and its tables.

#include "database.h"

#include "privacy.h"
#include "seed.h"

#include <sqlite3.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace {
constexpr int SchemaVersion = 1;
// The files of a database. SQLite gives the others the rights that the last one has.
constexpr std::array<const char *, 4> Suffixes = {"-journal", "-wal", "-shm", ""};

// Marks the file as ours ("VLTR"), so that --reset never empties another one.
constexpr unsigned long ApplicationId = 0x564c5452;
constexpr const char *Schema = R"(
    PRAGMA application_id = 0x564c5452;
    PRAGMA user_version = 1;
    CREATE TABLE account (
        id INTEGER PRIMARY KEY,
        email TEXT NOT NULL UNIQUE COLLATE NOCASE,
        name TEXT NOT NULL,
        password_salt BLOB NOT NULL,
        password_hash BLOB NOT NULL,
        password_iterations INTEGER NOT NULL,
        balance_cents INTEGER NOT NULL CHECK (balance_cents >= 0));
    CREATE TABLE tracker_group (
        id INTEGER PRIMARY KEY,
        account_id INTEGER NOT NULL REFERENCES account (id),
        name TEXT NOT NULL);
    CREATE TABLE tracker (
        serial TEXT PRIMARY KEY,
        account_id INTEGER NOT NULL REFERENCES account (id),
        name TEXT NOT NULL,
        compe_id TEXT NOT NULL,
        firmware TEXT NOT NULL,
        imsi TEXT NOT NULL,
        extended INTEGER NOT NULL CHECK (extended IN (0, 1)),
        provisioned INTEGER NOT NULL CHECK (provisioned IN (0, 1)));
    CREATE TABLE group_member (
        group_id INTEGER NOT NULL REFERENCES tracker_group (id),
        serial TEXT NOT NULL REFERENCES tracker (serial),
        PRIMARY KEY (group_id, serial));
    CREATE TABLE activation (
        id INTEGER PRIMARY KEY AUTOINCREMENT,
        serial TEXT NOT NULL REFERENCES tracker (serial),
        first_day TEXT NOT NULL,
        last_day TEXT NOT NULL,
        cost_cents INTEGER NOT NULL CHECK (cost_cents >= 0));
    CREATE INDEX activation_of_tracker ON activation (serial, first_day);
)";

std::runtime_error databaseError(const std::string &path, const std::string &reason)
{
    return std::runtime_error("The database " + path + " " + reason + ".");
}

enum class Content { None, Ours, Foreign };

// Read without SQLite: the head of a damaged file still tells whose it is.
Content contentOf(const std::string &path)
{
    const std::filesystem::file_status status = std::filesystem::status(path);
    if (!std::filesystem::exists(status))
        return Content::None;
    if (!std::filesystem::is_regular_file(status))
        throw databaseError(path, "is not a file");
    if (access(path.c_str(), R_OK) != 0)
        throw databaseError(path, std::string("cannot be read: ") + std::strerror(errno));
    if (std::filesystem::file_size(path) == 0)
        return Content::None;
    try {
        const bool ours = Database::getHeaderInfo(path).applicationId == ApplicationId;
        return ours ? Content::Ours : Content::Foreign;
    } catch (const SQLite::Exception &) {
        return Content::Foreign; // no head of a database
    }
}

void checkContent(Database &database)
{
    if (database.execAndGet("PRAGMA quick_check(1)").getString() != "ok")
        throw SQLite::Exception("the file is damaged");
    if (database.execAndGet("PRAGMA user_version").getInt() != SchemaVersion)
        throw SQLite::Exception("the file was made by another version");
    // A first write shows now, and not at the first booking, whether the folder takes a journal.
    database.exec("PRAGMA user_version = 1");
}

void removeFiles(const std::string &path)
{
    for (const char *suffix : Suffixes) {
        std::error_code error;
        std::filesystem::remove(path + suffix, error);
        if (error)
            throw databaseError(path, "cannot be replaced: " + error.message());
    }
}

void makeFolder(const std::string &path)
{
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    if (folder.empty())
        return;
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
        throw databaseError(path, "cannot be made: " + error.message());
}

void take(FileLock &lock, const std::string &path, FileLock::Kind kind)
{
    if (!lock.take(kind)) {
        throw databaseError(path,
                            "is in use by another sandbox; stop that one or choose another file "
                            "with --database");
    }
}
} // namespace

LockedDatabase openDatabase(const std::string &path, bool reset, Day today)
{
    // Before the lock, whose file has no business beside one of another program.
    Content content = contentOf(path);
    if (content == Content::Foreign)
        throw databaseError(path, "is not one of this program; choose another file or delete it");
    if (content == Content::None)
        makeFolder(path);
    FileLock lock(path + ".lock");
    take(lock, path, reset ? FileLock::Exclusive : FileLock::Shared);
    if (content == Content::Ours && reset) {
        removeFiles(path);
        content = Content::None;
    }
    try {
        Database database = connectTo(path);
        if (sqlite3_db_readonly(database.getHandle(), "main") == 1)
            throw SQLite::Exception("it may not be written");
        for (const char *suffix : Suffixes)
            keepFromOthers(path + suffix);
        if (content == Content::None) {
            Transaction transaction(database);
            database.exec(Schema);
            seed(database, today);
            transaction.commit();
        } else {
            checkContent(database);
        }
        take(lock, path, FileLock::Shared);
        return {std::move(lock), std::move(database)};
    } catch (const SQLite::Exception &error) {
        throw databaseError(path, std::string("cannot be used: ") + error.what());
    }
}
