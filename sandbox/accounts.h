// The accounts that may log in, and keeping their passwords without knowing them: as salted PBKDF2
// hashes.

#ifndef SANDBOX_ACCOUNTS_H
#define SANDBOX_ACCOUNTS_H

#include "sqlite.h"

#include <cstdint>
#include <string>

/// What is stored instead of a password.
struct PasswordHash
{
    std::string salt; ///< random bytes, other ones for every account
    std::string hash; ///< PBKDF2 with HMAC-SHA-256, 32 bytes
    int iterations = 0;
};

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

/// A hash with a new salt. Takes tens of milliseconds, on purpose.
PasswordHash hashPassword(const std::string &password);

/// Takes as long for a wrong password as for the right one.
bool passwordMatches(const std::string &password, const PasswordHash &stored);

#endif // SANDBOX_ACCOUNTS_H
