// Looking up accounts.

#include "accounts.h"

Account accountOf(const Database &database, const std::string &email)
{
    Account account;
    auto row = statement(database,
                         "SELECT id, name, password_salt, password_hash, password_iterations"
                         " FROM account WHERE email = ?",
                         email);
    if (row.executeStep()) {
        account.id = row.getColumn(0).getInt64();
        account.name = row.getColumn(1).getString();
        account.password = {row.getColumn(2).getString(), row.getColumn(3).getString(),
                            row.getColumn(4).getInt()};
    } else {
        account.password = unmatchableHash();
    }
    return account;
}
