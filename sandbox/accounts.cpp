// Looking up accounts.

#include "accounts.h"

Account accountOf(const Database &database, const std::string &email)
{
    Account account;
    Statement row(database,
                  "SELECT id, name, password_salt, password_hash, password_iterations"
                  " FROM account WHERE email = ?",
                  email);
    if (row.step()) {
        account.id = row.integer(0);
        account.name = row.text(1);
        account.password = {row.text(2), row.text(3), static_cast<int>(row.integer(4))};
    } else {
        account.password = unmatchableHash();
    }
    return account;
}
