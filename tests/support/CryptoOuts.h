// CryptoOuts: the out-arguments of Crypto::Encrypt and Crypto::Decrypt.

#ifndef NOVU_BASES_TESTS_SUPPORT_CRYPTOOUTS_H_
#define NOVU_BASES_TESTS_SUPPORT_CRYPTOOUTS_H_

#include <ostream>

namespace NovuTest {

inline unsigned char outsJunk = 0xA5;  // What no call has made.

/// Full of junk, so that what a call leaves alone is seen.
struct Outs {
    unsigned long consumed = 0xC0C0C0C0C0C0C0C0;
    unsigned char* output = &outsJunk;
    unsigned long outputLength = 0x0D0D0D0D0D0D0D0D;

    bool operator==(const Outs&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Outs& outs) {
    return out << "consumed " << outs.consumed << ", output "
               << static_cast<const void*>(outs.output) << ", output length "
               << outs.outputLength;
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_CRYPTOOUTS_H_
