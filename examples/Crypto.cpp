// Crypto: a digest and a cipher behind one interface.

#include <Bases/Crypto.h>

#include <iostream>
#include <string>

namespace {

bool Transform(Novu::Crypto::Type type, const std::string& message) {
    Novu::Crypto* crypto = Novu::CreateCrypto(type);
    if (crypto == nullptr) {
        return false;
    }

    // As many bytes of key as the object asks for; a digest asks for none.
    const std::string key(crypto->GetUserSecretKeySize(), 'k');
    crypto->SetUserSecretKey(
        reinterpret_cast<const unsigned char*>(key.data()));

    std::string input = message;  // Encrypt only reads, but takes no const.
    unsigned long consumed = 0;
    unsigned long size = 0;
    unsigned char* output = nullptr;
    const bool done =
        crypto->Encrypt(reinterpret_cast<unsigned char*>(input.data()),
                        input.size(), consumed, output, size) == 1;
    if (done) {
        std::cout << consumed << " bytes in, " << size << " bytes out\n";
        delete[] output;  // It is the caller's.
    }
    Novu::DestroyCrypto(crypto);
    return done;
}

}  // namespace

int main() {
    const std::string message = "a message of 23 letters";
    return Transform(Novu::Crypto::HashMd5, message) &&
                   Transform(Novu::Crypto::BlockCipherSeed, message)
               ? 0
               : 1;
}

// Prints:
//   23 bytes in, 16 bytes out
//   23 bytes in, 32 bytes out
