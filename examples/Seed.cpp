// Seed: one block, in the order of bytes that RFC 4269 and other programs use.
// Without the reversal, ciphertexts are this library's own.

#include <Bases/Seed.h>

#include <algorithm>
#include <cstdint>
#include <iomanip>
#include <iostream>

namespace {

// Words are in the host's order of bytes; the RFC has the highest byte first.
// This is for hosts that have the lowest first, as x86-64.
void ReverseWords(unsigned char (&bytes)[16]) {
    for (unsigned char* word = bytes; word != bytes + 16; word += 4) {
        std::reverse(word, word + 4);
    }
}

}  // namespace

int main() {
    unsigned char key[16] = {};
    unsigned char block[16] = {0, 1, 2,  3,  4,  5,  6,  7,
                               8, 9, 10, 11, 12, 13, 14, 15};
    std::uint32_t roundKeys[32];

    ReverseWords(key);
    SeedRoundKey(roundKeys, key);  // The table is first here,
    ReverseWords(block);
    SeedEncrypt(block, roundKeys);  // and second here.
    ReverseWords(block);

    for (const unsigned byte : block) {
        std::cout << std::hex << std::setfill('0') << std::setw(2) << byte;
    }
    std::cout << '\n';

    ReverseWords(block);
    SeedDecrypt(block, roundKeys);
    ReverseWords(block);
    return block[0] == 0 && block[15] == 15 ? 0 : 1;
}

// Prints:
//   5ebac6e0054e166819aff1cc6d346cdb
