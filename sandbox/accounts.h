// The accounts that may log in.

#ifndef SANDBOX_ACCOUNTS_H
#define SANDBOX_ACCOUNTS_H

#include "passwords.h"
#include "sqlite.h"

#include <cstdint>
#include <string>

/// One account. The id is 1 or more; 0 means that there is no such account, and then the hash
/// matches no password but costs as much to compare.
struct Account
{
    std::int64_t id = 0;
    std::string name;
    PasswordHash password;
};

/// The account of an e-mail address, whose letter case does not matter.
Account accountOf(const Database &database, const std::string &email);

#endif // SANDBOX_ACCOUNTS_H
