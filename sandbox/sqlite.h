// A thin layer over SQLite: connections, statements and transactions that clean up after
// themselves.

#ifndef SANDBOX_SQLITE_H
#define SANDBOX_SQLITE_H

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

/// SQLite said no; what() is its own message.
class DatabaseError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// One connection. Not for several threads at a time. Every function throws DatabaseError.
class Database
{
public:
    /// Opens the file for reading and writing and makes it if it is missing.
    explicit Database(const std::string &path);

    /// Runs statements that take no values and give no rows.
    void execute(const char *sql);
    /// The rows that the last statement inserted, changed or deleted.
    int changedRows() const;
    /// True when the file could only be opened for reading.
    bool isReadOnly() const;

    sqlite3 *handle() const { return m_handle.get(); }

private:
    struct Closer
    {
        void operator()(sqlite3 *handle) const;
    };
    std::unique_ptr<sqlite3, Closer> m_handle;
};

/// One SQL statement with its values, run by step(). Must not outlive its database.
class Statement
{
public:
    /// Values fill the question marks in order: texts, byte strings (as Blob) or integers.
    template <typename... Values>
    Statement(const Database &database, const char *sql, const Values &...values) :
        Statement(database, sql, Prepared())
    {
        int position = 0;
        (bind(++position, values), ...);
        // Nothing to do with the count when there are no values.
        static_cast<void>(position);
    }

    /// Moves to the next row; false when there is none.
    bool step();
    /// For statements that give no rows.
    void run() { static_cast<void>(step()); }

    /// Columns count from 0. The texts are copies.
    std::int64_t integer(int column) const;
    std::string text(int column) const;

    /// Marks a value that is stored as bytes and not as text.
    struct Blob
    {
        std::string_view bytes;
    };

private:
    struct Prepared
    {
    };
    struct Finalizer
    {
        void operator()(sqlite3_stmt *statement) const;
    };

    Statement(const Database &database, const char *sql, Prepared);
    void bind(int position, std::int64_t value);
    void bind(int position, std::string_view value);
    void bind(int position, Blob value);
    void check(int result) const;

    sqlite3 *m_database = nullptr;
    std::unique_ptr<sqlite3_stmt, Finalizer> m_statement;
};

/// Everything until commit() happens whole; without a commit nothing of it happens.
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
