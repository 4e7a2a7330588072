// Looking up accounts, and hashing passwords.

#include "accounts.h"

#include "randomness.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <stdexcept>

namespace {
constexpr int Iterations = 150000;
constexpr int SaltLength = 16;
constexpr int HashLength = 32;

std::string derive(const std::string &password, const std::string &salt, int iterations)
{
    std::string hash(HashLength, '\0');
    const int done = PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()),
                                       reinterpret_cast<const unsigned char *>(salt.data()),
                                       static_cast<int>(salt.size()), iterations, EVP_sha256(),
                                       HashLength, reinterpret_cast<unsigned char *>(hash.data()));
    if (done != 1)
        throw std::runtime_error("The password could not be hashed.");
    return hash;
}
} // namespace

Account accountOf(const Database &database, const std::string &email)
{
    Account account{0, {}, {std::string(SaltLength, '\0'), {}, Iterations}};
    auto row = statement(database,
                         "SELECT id, name, password_salt, password_hash, password_iterations"
                         " FROM account WHERE email = ?",
                         email);
    if (row.executeStep()) {
        account.id = row.getColumn(0).getInt64();
        account.name = row.getColumn(1).getString();
        account.password = {row.getColumn(2).getString(), row.getColumn(3).getString(),
                            row.getColumn(4).getInt()};
    }
    return account;
}

PasswordHash hashPassword(const std::string &password)
{
    const std::string salt = randomBytes(SaltLength);
    return {salt, derive(password, salt, Iterations), Iterations};
}

bool passwordMatches(const std::string &password, const PasswordHash &stored)
{
    const std::string hash = derive(password, stored.salt, stored.iterations);
    // HMAC fills short keys up with zero bytes: a password with some at its end hashes the same.
    return password.find('\0') == std::string::npos && hash.size() == stored.hash.size() &&
           CRYPTO_memcmp(hash.data(), stored.hash.data(), hash.size()) == 0;
}
