// A host with functions of its own under plain names of the library, which do
// nothing useful: the library's calls stay with the library's functions.

#include <Bases/CryptoBlockCipherSeed.h>
#include <Bases/XmlDoc.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

extern "C" char* _itoa(int /*value*/, char* buffer, int /*radix*/) {
    std::strcpy(buffer, "rubbish");
    return buffer;
}

extern "C" void SeedRoundKey(std::uint32_t* /*roundKeys*/,
                             const unsigned char* /*userKey*/) {}

extern "C" void SeedEncrypt(unsigned char* /*block*/,
                            const std::uint32_t* /*roundKeys*/) {}

// Whether a key of zeros enciphers as it should: RFC 4269's first example, in
// the order of bytes of x86-64.
bool EnciphersRight() {
    const unsigned char key[16] = {};
    unsigned char message[16];
    for (unsigned char at = 0; at != sizeof message; ++at) {
        // Each word is reversed.
        message[at] = static_cast<unsigned char>(at / 4 * 4 + 3 - at % 4);
    }
    const unsigned char expected[] = {0xE0, 0xC6, 0xBA, 0x5E, 0x68, 0x16,
                                      0x4E, 0x05, 0xCC, 0xF1, 0xAF, 0x19,
                                      0xDB, 0x6C, 0x34, 0x6D};
    Novu::CryptoBlockCipherSeed seed;
    seed.Create();
    seed.SetUserSecretKey(key);
    unsigned long consumed = 0;
    unsigned long length = 0;
    unsigned char* output = nullptr;
    seed.Encrypt(message, sizeof message, consumed, output, length);
    const bool right = length == sizeof expected &&
                       std::memcmp(output, expected, sizeof expected) == 0;
    delete[] output;
    return right;
}

int main() {
    char text[16];
    if (std::string(_itoa(1, text, 10)) != "rubbish") {
        std::fputs("own_itoa: the host lost its own function\n", stderr);
        return 1;
    }

    Novu::XmlWriter writer;
    writer.BeginDocument("UTF-8");
    writer.WriteElementEntity("number", 42);
    writer.EndDocument();
    unsigned long size = 0;
    const unsigned char* const bytes = writer.GetXmlBuffer(size);
    const std::string document(reinterpret_cast<const char*>(bytes), size);
    if (document.find("<number>42</number>") == std::string::npos) {
        std::fprintf(stderr, "own_itoa: 42 was written as\n%s",
                     document.c_str());
        return 1;
    }
    if (!EnciphersRight()) {
        std::fputs("own_itoa: SEED went by the host's functions\n", stderr);
        return 1;
    }
    std::puts("own_itoa: all is well");
    return 0;
}
