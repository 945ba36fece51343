// CryptoBlockCipherSeed: a message enciphered and back. Equal blocks give equal
// ciphertexts, and nobody notices a change: it is for data of that format, not
// for new secrets.

#include <Bases/CryptoBlockCipherSeed.h>

#include <iostream>
#include <memory>
#include <string>

int main() {
    std::string message = "meet at noon, at the old bridge";
    unsigned char key[16] = {1, 2, 3, 4, 5, 6, 7, 8};

    Novu::CryptoBlockCipherSeed seed;
    seed.Create();
    if (seed.SetUserSecretKey(key) != 1) {
        return 1;
    }
    unsigned long consumed = 0;
    unsigned long size = 0;
    unsigned char* output = nullptr;
    if (seed.Encrypt(reinterpret_cast<unsigned char*>(message.data()),
                     message.size(), consumed, output, size) != 1) {
        return 1;
    }
    const std::unique_ptr<unsigned char[]> secret(output);
    const unsigned long length = message.size();  // Stored beside the secret.

    unsigned long filled = 0;
    if (seed.Decrypt(secret.get(), size, consumed, output, filled) != 1) {
        return 1;
    }
    const std::unique_ptr<unsigned char[]> plain(output);
    // The zeros that filled the last block are still there: cut them off.
    const std::string back(plain.get(), plain.get() + length);
    std::cout << length << " bytes, enciphered " << size << ": " << back
              << '\n';
    return back == message ? 0 : 1;
}

// Prints:
//   31 bytes, enciphered 32: meet at noon, at the old bridge
