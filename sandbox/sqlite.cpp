// The layer over SQLite.

#include "sqlite.h"

#include "log.h"

#include <sqlite3.h>

namespace {
// How long a command waits while somebody else, such as a person with a shell, holds the file.
constexpr int BusyMilliseconds = 5000;
} // namespace

Database::Database(const std::string &path)
{
    sqlite3 *handle = nullptr;
    const int result =
        sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    m_handle.reset(handle); // also after a failure there is a handle to close
    if (result != SQLITE_OK)
        throw DatabaseError(handle != nullptr ? sqlite3_errmsg(handle) : "out of memory");
    sqlite3_extended_result_codes(handle, 1);
    sqlite3_busy_timeout(handle, BusyMilliseconds);
    execute("PRAGMA foreign_keys = ON");
}

void Database::Closer::operator()(sqlite3 *handle) const
{
    sqlite3_close(handle);
}

void Database::execute(const char *sql)
{
    if (sqlite3_exec(handle(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        throw DatabaseError(sqlite3_errmsg(handle()));
}

int Database::changedRows() const
{
    return sqlite3_changes(handle());
}

bool Database::isReadOnly() const
{
    return sqlite3_db_readonly(handle(), "main") == 1;
}

Statement::Statement(const Database &database, const char *sql, Prepared) :
    m_database(database.handle())
{
    sqlite3_stmt *statement = nullptr;
    check(sqlite3_prepare_v2(m_database, sql, -1, &statement, nullptr));
    m_statement.reset(statement);
}

void Statement::Finalizer::operator()(sqlite3_stmt *statement) const
{
    sqlite3_finalize(statement);
}

bool Statement::step()
{
    const int result = sqlite3_step(m_statement.get());
    if (result == SQLITE_ROW)
        return true;
    if (result != SQLITE_DONE)
        throw DatabaseError(sqlite3_errmsg(m_database));
    return false;
}

std::int64_t Statement::integer(int column) const
{
    return sqlite3_column_int64(m_statement.get(), column);
}

std::string Statement::text(int column) const
{
    // The bytes before the count: the other order could count those of another encoding.
    const void *bytes = sqlite3_column_blob(m_statement.get(), column);
    const int count = sqlite3_column_bytes(m_statement.get(), column);
    if (bytes == nullptr)
        return {};
    return std::string(static_cast<const char *>(bytes), static_cast<std::size_t>(count));
}

void Statement::bind(int position, std::int64_t value)
{
    check(sqlite3_bind_int64(m_statement.get(), position, value));
}

void Statement::bind(int position, std::string_view value)
{
    check(sqlite3_bind_text64(m_statement.get(), position, value.data(), value.size(),
                              SQLITE_TRANSIENT, SQLITE_UTF8));
}

void Statement::bind(int position, Blob value)
{
    check(sqlite3_bind_blob64(m_statement.get(), position, value.bytes.data(), value.bytes.size(),
                              SQLITE_TRANSIENT));
}

void Statement::check(int result) const
{
    if (result != SQLITE_OK)
        throw DatabaseError(sqlite3_errmsg(m_database));
}

Transaction::Transaction(Database &database) : m_database(database)
{
    // The lock for writing at once: taken later, it could fail after rules were already checked.
    m_database.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction()
{
    if (!m_open)
        return;
    try {
        m_database.execute("ROLLBACK");
    } catch (const DatabaseError &error) {
        logLine(std::string("rollback: ") + error.what());
    }
}

void Transaction::commit()
{
    m_database.execute("COMMIT");
    m_open = false;
}
