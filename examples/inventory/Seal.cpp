// The sealed form, from Seal.h.

#include "Seal.h"

#include <Bases/Base64.h>
#include <Bases/CryptoBlockCipherSeed.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <memory>
#include <string_view>

#include "Failure.h"
#include "Files.h"
#include "Names.h"

namespace Inventory {

namespace {

constexpr std::string_view kKind = "inventory-sealed ";
constexpr std::string_view kVersion = "1\n";
constexpr std::string_view kLength = "length ";
const std::size_t kBlock = 16;  // Of the cipher, in bytes.
const std::size_t kLine = 76;   // Characters of Base64.

// The first block of every document, which tells another key.
constexpr std::string_view kStart = "<?xml version=\"1";

// The number of groups of `unit` that `count` needs.
std::size_t Groups(std::size_t count, std::size_t unit) {
    return (count + unit - 1) / unit;
}

int DigitValue(char c) {
    const std::string digits = "0123456789abcdef0123456789ABCDEF";
    const std::size_t found = digits.find(c);
    return found != std::string::npos ? static_cast<int>(found % 16) : -1;
}

std::string Transform(bool encrypt, const Key& key, const unsigned char* bytes,
                      unsigned long size) {
    Novu::CryptoBlockCipherSeed cipher;
    cipher.Create();
    cipher.SetUserSecretKey(key.data());
    // The input is not const in the interface, and is only read.
    auto* const input = const_cast<unsigned char*>(bytes);
    unsigned long consumed = 0;
    unsigned char* output = nullptr;
    unsigned long outputSize = 0;
    const int done =
        encrypt ? cipher.Encrypt(input, size, consumed, output, outputSize)
                : cipher.Decrypt(input, size, consumed, output, outputSize);
    const std::unique_ptr<unsigned char[]> owner(output);
    if (done == 0) {
        throw Failure("the cipher refuses the document");
    }
    return std::string(reinterpret_cast<const char*>(output), outputSize);
}

std::string InLines(const std::string& text) {
    std::string lines;
    lines.reserve(text.size() + Groups(text.size(), kLine));
    for (std::size_t at = 0; at < text.size(); at += kLine) {
        lines.append(text, at, kLine).append("\n");
    }
    return lines;
}

std::string Encoded(const std::string& bytes) {
    std::string text;
    Novu::Base64().Encode(bytes.data(), bytes.size(), text);
    return text;
}

// The `size` bytes of lines of Base64. Decode alone would pass over some
// damage: a
// "=" anywhere, and the top bit of a character. So what it reads is encoded
// again and has to be the same.
std::string Decoded(const std::string& lines, std::size_t size) {
    std::string text = lines;
    text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
    std::string bytes(text.size() + 1, '\0');  // The room that Decode asks for.
    bytes.resize(Novu::Base64().Decode(text.c_str(), bytes.data()));
    if (bytes.size() != size || InLines(Encoded(bytes)) != lines) {
        throw Failure("its Base64 is damaged");
    }
    return bytes;
}

// Moves `at` behind the header, and answers the length in it.
std::size_t ReadHeader(const std::string& text, std::size_t& at) {
    at = kKind.size();
    if (text.compare(at, kVersion.size(), kVersion) != 0) {
        throw Failure(
            "its first line is damaged, or of another version than 1");
    }
    at += kVersion.size();
    const std::size_t end = text.find('\n', at);
    if (end != std::string::npos &&
        text.compare(at, kLength.size(), kLength) == 0) {
        const std::string digits =
            text.substr(at + kLength.size(), end - at - kLength.size());
        std::size_t length = 0;
        std::from_chars(digits.data(), digits.data() + digits.size(), length);
        if (std::to_string(length) == digits && length != 0 &&
            length <= INT_MAX) {
            at = end + 1;
            return length;
        }
    }
    throw Failure("its header is damaged: a line with the length is missing");
}

}  // namespace

Key ReadKey(const std::string& path) {
    try {
        const std::string what =
            "no key, which is 32 hexadecimal digits on a line";
        const std::string text = ReadFile(path, 34, what);
        Key key{};
        const std::string end =
            text.substr(std::min(2 * key.size(), text.size()));
        if (text.size() < 2 * key.size() ||
            (!end.empty() && end != "\n" && end != "\r\n")) {
            throw Failure(what);
        }
        for (std::size_t i = 0; i < key.size(); ++i) {
            const int high = DigitValue(text[2 * i]);
            const int low = DigitValue(text[2 * i + 1]);
            if (high < 0 || low < 0) {
                throw Failure(what);
            }
            key[i] = static_cast<unsigned char>(high * 16 + low);
        }
        return key;
    } catch (const Failure& failure) {
        throw Failure(Printable(path) + ": " + failure.what());
    }
}

std::optional<Key> ReadKey(const std::optional<std::string>& path) {
    return path ? std::optional<Key>(ReadKey(*path)) : std::nullopt;
}

std::string Seal(const unsigned char* document, unsigned long size,
                 const Key& key) {
    if (size < kStart.size() ||
        !std::equal(kStart.begin(), kStart.end(), document)) {
        throw Failure("the document's encoding does not extend ASCII");
    }
    return std::string(kKind).append(kVersion).append(kLength) +
           std::to_string(size) + "\n" +
           InLines(Encoded(Transform(/*encrypt=*/true, key, document, size)));
}

bool IsSealed(const std::string& text) {
    return text.compare(0, kKind.size(), kKind) == 0;
}

std::string Unseal(const std::string& text, const Key& key) {
    std::size_t at = 0;
    const std::size_t length = ReadHeader(text, at);
    const std::size_t blocks = Groups(length, kBlock);
    const std::size_t characters = 4 * Groups(blocks * kBlock, 3);
    const std::size_t expected = characters + Groups(characters, kLine);
    if (text.size() - at != expected) {
        throw Failure("is cut off, or damaged: " + std::to_string(expected) +
                      " bytes belong behind its header, and " +
                      std::to_string(text.size() - at) + " are there");
    }
    const std::string bytes = Decoded(text.substr(at), blocks * kBlock);
    std::string document = Transform(
        /*encrypt=*/false, key,
        reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    // What fills up the last block tells another length.
    if (document.compare(0, kStart.size(), kStart) != 0) {
        throw Failure("is sealed with another key, or damaged");
    }
    if (document.find_first_not_of('\0', length) != std::string::npos ||
        document[length - 1] == '\0') {
        throw Failure("its length is wrong, or it is damaged");
    }
    document.resize(length);
    return document;
}

}  // namespace Inventory
