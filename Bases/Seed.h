// Seed: the block cipher SEED (RFC 4269), one block of 128 bits at a time.
//
// Shape    A block and a key are 16 bytes, four words of 32 bits; a table of
//          round keys is 32 such words. None of them needs to be aligned.
// Errors   None: pointers are not checked.
// Threads  Any; nothing is shared. Calls may share a table, but no block.
// Timing   Blocks, and keys where there are not AVX2 and GFNI, are looked up
//          in tables by their bytes: see Bases/CryptoBlockCipherSeed.h, which
//          has ways without.
// See      docs/surprises.md, "Ciphers and digests", for what is By design.
//
// By design [seed-1]: words are read from and written to memory in the host's
// byte order. On x86-64 that is not the order of RFC 4269, so the RFC's vectors
// are met when each word of key, plaintext and ciphertext is reversed; and
// other programs' ciphertexts need the same.
//
// By design [seed-2]: the key schedule takes the table first, the block
// functions take it second.
//
// Example (examples/Seed.cpp):
//
//     ReverseWords(key);
//     SeedRoundKey(roundKeys, key);  // The table is first here,
//     ReverseWords(block);
//     SeedEncrypt(block, roundKeys);  // and second here.
//     ReverseWords(block);

#ifndef NOVU_BASES_SEED_H_
#define NOVU_BASES_SEED_H_

#include <cstdint>

#include "Bases/Export.h"

extern "C" {

/// Writes the 32 round keys for the 16 bytes at `userKey`.
NOVU_API void SeedRoundKey(std::uint32_t* roundKeys,
                           const unsigned char* userKey);

/// Encrypts the 16 bytes at `block` in place.
NOVU_API void SeedEncrypt(unsigned char* block, const std::uint32_t* roundKeys);

/// Decrypts the 16 bytes at `block` in place.
NOVU_API void SeedDecrypt(unsigned char* block, const std::uint32_t* roundKeys);

/// The same three under names of this library's own.
NOVU_API void NovuSeedRoundKey(std::uint32_t* roundKeys,
                               const unsigned char* userKey);
NOVU_API void NovuSeedEncrypt(unsigned char* block,
                              const std::uint32_t* roundKeys);
NOVU_API void NovuSeedDecrypt(unsigned char* block,
                              const std::uint32_t* roundKeys);

}  // extern "C"

#endif  // NOVU_BASES_SEED_H_
