// Random bytes, for salts, sessions and certificates.

#ifndef SANDBOX_RANDOMNESS_H
#define SANDBOX_RANDOMNESS_H

#include <string>

/// Bytes that nobody can guess. Throws std::runtime_error if the machine has none.
std::string randomBytes(int count);

/// The same as lower-case hexadecimal text, two characters a byte.
std::string randomHex(int bytes);

#endif // SANDBOX_RANDOMNESS_H
