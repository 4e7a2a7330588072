// Random bytes.

#include "randomness.h"

#include <openssl/rand.h>

#include <stdexcept>

std::string randomBytes(int count)
{
    std::string bytes(static_cast<std::size_t>(count), '\0');
    if (RAND_bytes(reinterpret_cast<unsigned char *>(bytes.data()), count) != 1)
        throw std::runtime_error("The machine has no random numbers to give.");
    return bytes;
}

std::string randomHex(int bytes)
{
    static constexpr char Hex[] = "0123456789abcdef";
    std::string text;
    for (const char c : randomBytes(bytes)) {
        const auto byte = static_cast<unsigned char>(c);
        text += Hex[byte >> 4U];
        text += Hex[byte & 15U];
    }
    return text;
}
