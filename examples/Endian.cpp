// Endian: numbers in the order that a file or a network wants, on any host.

#include <Bases/Endian.h>

#include <cstring>
#include <iostream>

int main() {
    // A length of 8 bytes, the highest first, into a message.
    const unsigned long long length = 1000;
    const unsigned long long wire = Novu::Endian::tobe64(length);
    unsigned char message[sizeof(wire)];
    std::memcpy(message, &wire, sizeof(wire));

    std::cout << "bytes";
    for (const unsigned byte : message) {
        std::cout << ' ' << byte;
    }
    std::cout << '\n';

    // And out of it.
    unsigned long long read = 0;
    std::memcpy(&read, message, sizeof(read));
    std::cout << Novu::Endian::betoh64(read) << '\n';

    // The functions for 32 bits take and give 64: pass no more than 32.
    const unsigned long colour = 0x11223344;
    std::cout << std::hex << Novu::Endian::Swap32(colour) << '\n';
}

// Prints:
//   bytes 0 0 0 0 0 0 3 232
//   1000
//   44332211
