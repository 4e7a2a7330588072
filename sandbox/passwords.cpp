// Password hashes and the random bytes that they and the sessions need.

#include "passwords.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

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

PasswordHash hashPassword(const std::string &password)
{
    PasswordHash result;
    result.salt = randomBytes(SaltLength);
    result.iterations = Iterations;
    result.hash = derive(password, result.salt, result.iterations);
    return result;
}

bool passwordMatches(const std::string &password, const PasswordHash &stored)
{
    const std::string hash = derive(password, stored.salt, stored.iterations);
    // HMAC fills short keys up with zero bytes: a password with some at its end hashes the same.
    return password.find('\0') == std::string::npos && hash.size() == stored.hash.size() &&
           CRYPTO_memcmp(hash.data(), stored.hash.data(), hash.size()) == 0;
}

PasswordHash unmatchableHash()
{
    return {std::string(SaltLength, '\0'), std::string(), Iterations};
}

std::string randomBytes(int count)
{
    std::string bytes(static_cast<std::size_t>(count), '\0');
    if (RAND_bytes(reinterpret_cast<unsigned char *>(bytes.data()), count) != 1)
        throw std::runtime_error("The machine has no random numbers to give.");
    return bytes;
}

std::string hexText(const std::string &bytes)
{
    static constexpr char Hex[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += Hex[byte >> 4U];
        text += Hex[byte & 15U];
    }
    return text;
}
