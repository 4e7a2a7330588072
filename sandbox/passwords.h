// Keeping passwords without knowing them: salted PBKDF2 hashes.

#ifndef SANDBOX_PASSWORDS_H
#define SANDBOX_PASSWORDS_H

#include <string>

/// What is stored instead of a password.
struct PasswordHash
{
    std::string salt; ///< random bytes, other ones for every account
    std::string hash; ///< PBKDF2 with HMAC-SHA-256, 32 bytes
    int iterations = 0;
};

/// A hash with a new salt. Takes tens of milliseconds, on purpose.
PasswordHash hashPassword(const std::string &password);

/// Takes as long for a wrong password as for the right one.
bool passwordMatches(const std::string &password, const PasswordHash &stored);

/// A hash that no password matches, as slow to compare as a real one.
PasswordHash unmatchableHash();

/// Bytes that nobody can guess. Throws std::runtime_error if the machine has none.
std::string randomBytes(int count);

/// Lower-case hexadecimal text, two characters a byte.
std::string hexText(const std::string &bytes);

#endif // SANDBOX_PASSWORDS_H
