// Connections and transactions.

#include "sqlite.h"

#include "log.h"

namespace {
// How long a command waits while somebody else, such as a person with a shell, holds the file.
constexpr int BusyMilliseconds = 5000;
} // namespace

Database connectTo(const std::string &path)
{
    Database database(path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE, BusyMilliseconds);
    database.exec("PRAGMA foreign_keys = ON");
    return database;
}

Transaction::Transaction(Database &database) : m_database(database)
{
    // The lock for writing at once: taken later, it could fail after rules were already checked.
    m_database.exec("BEGIN IMMEDIATE");
}

Transaction::~Transaction()
{
    if (!m_open)
        return;
    try {
        m_database.exec("ROLLBACK");
    } catch (const SQLite::Exception &error) {
        logLine(std::string("rollback: ") + error.what());
    }
}

void Transaction::commit()
{
    m_database.exec("COMMIT");
    m_open = false;
}
