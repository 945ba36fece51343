// CryptoHashMd5: the digest of a text, and of data that comes in pieces. Good
// for finding duplicates and accidents; not against anybody's intent.

#include <Bases/CryptoHashMd5.h>

#include <iostream>
#include <string>

int main() {
    Novu::CryptoHashMd5 md5;
    std::cout << md5.MD5String("abc") << '\n';

    char context[88];  // The caller's: it holds all that there is.
    md5.MD5Init(&context);
    for (const std::string piece : {"a", "b", "c"}) {
        md5.MD5Update(&context, piece.data(), piece.size());
    }
    Novu::CryptoHashMd5::MD5Digest_struct digest;
    md5.MD5Final(&digest, &context);
    std::cout << md5.MD5DigestToBase16(digest) << '\n';
}

// Prints:
//   900150983cd24fb0d6963f7d28e17f72
//   900150983cd24fb0d6963f7d28e17f72
