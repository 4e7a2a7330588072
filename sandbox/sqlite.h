// What every question to the database needs: a connection, statements with values, transactions.

#ifndef SANDBOX_SQLITE_H
#define SANDBOX_SQLITE_H

#include <SQLiteCpp/SQLiteCpp.h>
#include <SQLiteCpp/VariadicBind.h>

#include <string>

using SQLite::Database;

/// Opens the file for reading and writing and makes it if it is missing. Like everything that asks
/// the database it throws SQLite::Exception, whose what() is SQLite's own message.
Database connectTo(const std::string &path);

/// A statement whose question marks have these values, in order.
template <typename... Values>
SQLite::Statement statement(const Database &database, const char *sql, const Values &...values)
{
    SQLite::Statement result(database, sql);
    SQLite::bind(result, values...);
    return result;
}

/// Everything until commit() happens whole; without a commit nothing of it happens. The library's
/// own takes a failed rollback for a good one.
class Transaction
{
public:
    explicit Transaction(Database &database);
    ~Transaction();
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;

    void commit();

private:
    Database &m_database;
    bool m_open = true;
};

#endif // SANDBOX_SQLITE_H
