// Guid, from Bases/Guid.h, over Boost.Uuid.

#include "Bases/Guid.h"

#include <string.h>

#include <algorithm>
#include <boost/random/mersenne_twister.hpp>
#include <boost/uuid/detail/random_provider.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Bases/Impl/HexPairs.h"

namespace Novu {

namespace {

constexpr Guid GuidNone;

// Seeds a whole engine by one read of the random source. Left to itself,
// Boost's generator asks the source for each of the engine's 624 words.
struct BulkSeed {
    void generate(std::uint32_t* first, const std::uint32_t* last) {
        boost::uuids::detail::random_provider().get_random_bytes(
            first, static_cast<std::size_t>(last - first) * sizeof *first);
    }
};

// 1 or -1 where the bytes differ when read as a number of the host, else 0.
template <typename Number>
int CompareAs(const unsigned char* left, const unsigned char* right) {
    Number leftNumber = 0;
    Number rightNumber = 0;
    std::memcpy(&leftNumber, left, sizeof leftNumber);
    std::memcpy(&rightNumber, right, sizeof rightNumber);
    if (leftNumber == rightNumber) {
        return 0;
    }
    return leftNumber > rightNumber ? 1 : -1;
}

const std::size_t kTextLength = 36;

// Where the digits of each byte stand in the text, and the hyphens.
constexpr std::size_t kPlaces[16] = {0,  2,  4,  6,  9,  11, 14, 16,
                                     19, 21, 24, 26, 28, 30, 32, 34};
constexpr std::size_t kHyphens[4] = {8, 13, 18, 23};

// Writes the text of 36 characters, without a terminator.
void WriteText(char* out, const unsigned char* bytes) {
    for (const std::size_t place : kHyphens) {
        out[place] = '-';
    }
    for (std::size_t index = 0; index < 16; ++index) {
        const unsigned int pair = kHexPairs[bytes[index]];
        out[kPlaces[index]] = static_cast<char>(pair);
        out[kPlaces[index] + 1] = static_cast<char>(pair >> 8);
    }
}

// How much of `text` is an identifier by its outer form. Boost's parser refuses
// what follows the identifier, so it is not shown any of that.
std::size_t IdentifierLength(const char* text) {
    const std::size_t digits = 32;
    const std::size_t digitsBeforeHyphen = 8;
    const std::size_t hyphens = 4;
    const std::size_t braces = 2;

    const std::size_t braceAt0 = text[0] == '{' ? 1 : 0;
    const std::size_t available = ::strnlen(text, digits + hyphens + braces);
    std::size_t length = digits + braceAt0 * braces;
    const std::size_t hyphenAt = braceAt0 + digitsBeforeHyphen;
    if (hyphenAt < available && text[hyphenAt] == '-') {
        length += hyphens;
    }
    return std::min(length, available);
}

}  // namespace

// Value

bool Guid::Generate() {
    BulkSeed seed;
    boost::mt19937 engine(seed);
    const boost::uuids::uuid drawn =
        boost::uuids::basic_random_generator<boost::mt19937>(engine)();
    // GCOVR_EXCL_START: no identifier that carries a version is nil.
    if (drawn.is_nil()) {
        return false;
    }
    // GCOVR_EXCL_STOP
    std::copy(drawn.begin(), drawn.end(), bytes);
    return true;
}

void Guid::Clear() { *this = GuidNone; }

bool Guid::None() const { return Test(GuidNone); }

// Order

bool Guid::Test(const Guid& other) const {
    return std::memcmp(bytes, other.bytes, sizeof bytes) == 0;
}

int Guid::Compare(const Guid& other) const {
    if (const int order = CompareAs<std::uint32_t>(bytes, other.bytes)) {
        return order;
    }
    if (const int order =
            CompareAs<std::uint16_t>(bytes + 4, other.bytes + 4)) {
        return order;
    }
    if (const int order =
            CompareAs<std::uint16_t>(bytes + 6, other.bytes + 6)) {
        return order;
    }
    return std::memcmp(bytes + 8, other.bytes + 8, 8);
}

bool Guid::operator==(const Guid& other) const { return Test(other); }

bool Guid::operator!=(const Guid& other) const { return !Test(other); }

bool Guid::operator<(const Guid& other) const { return Compare(other) < 0; }

bool Guid::operator>(const Guid& other) const { return Compare(other) > 0; }

// Text

bool Guid::ToString(std::string& out, int format) const {
    if (None()) {
        return false;
    }
    out.resize(kTextLength);
    WriteText(out.data(), bytes);
    if (format == 0) {  // By design [guid-3].
        out.pop_back();
        out.erase(0, 1);
    }
    return true;
}

bool Guid::ToString(char* out, int format) const {
    if (out == nullptr || None()) {
        return false;
    }
    // Not written into `out` at once: this identifier may lie there.
    char text[kTextLength];
    WriteText(text, bytes);
    const std::size_t cut = format != 0 ? 0 : 1;  // At each end.
    const std::size_t length = kTextLength - 2 * cut;
    std::memcpy(out, text + cut, length);
    out[length] = '\0';
    return true;
}

std::string Guid::ToString(int format) const {
    std::string text;
    ToString(text, format);
    return text;
}

bool Guid::FromString(const char* text) {
    if (text == nullptr) {
        return false;
    }
    const boost::uuids::uuid value =
        boost::uuids::string_generator()(text, text + IdentifierLength(text));
    if (value.is_nil()) {
        return false;
    }
    std::copy(value.begin(), value.end(), bytes);
    return true;
}

bool Guid::FromString(const std::string& text) {
    return !text.empty() && FromString(text.c_str());
}

}  // namespace Novu
