// Fuzz: what the fuzz targets share.
//
// A target is one function. libFuzzer, or Replay.cpp in a build without it,
// calls it with one input after another. It compares what the library does with
// a model that follows the contract word by word, and ends the program where
// they differ; the sanitizers end it for what is wrong in itself.

#ifndef NOVU_BASES_TESTS_FUZZ_FUZZ_H_
#define NOVU_BASES_TESTS_FUZZ_FUZZ_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size);

namespace NovuFuzz {

/// Ends the program unless `holds`. The report's stack tells which call it was.
inline void Require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "The library and the model differ: %s\n", what);
        std::abort();
    }
}

/// What functions of C see of a text.
template <typename Character>
std::basic_string<Character> UpToZero(
    const std::basic_string<Character>& text) {
    return text.substr(0, text.find(Character()));
}

/// Takes one value after another off the front of an input; zeros, and nothing,
/// once that is used up.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size)
        : next(data), left(size) {}

    bool IsEmpty() const { return left == 0; }

    std::uint8_t Byte() { return Take<std::uint8_t>(); }

    /// 0 to limit - 1, of one byte where that is enough.
    std::size_t Below(std::size_t limit) {
        return (limit <= 256 ? Byte() : Take<std::uint32_t>()) % limit;
    }

    template <typename Number>
    Number Take() {
        Number number{};
        const std::size_t count = left < sizeof number ? left : sizeof number;
        if (count != 0) {
            std::memcpy(&number, next, count);
            next += count;
            left -= count;
        }
        return number;
    }

    /// As many bytes as the next one says.
    std::string Text() { return Bytes(Byte()); }

    std::string Rest() { return Bytes(left); }

private:
    std::string Bytes(std::size_t wanted) {
        const std::size_t count = left < wanted ? left : wanted;
        std::string bytes;
        if (count != 0) {
            bytes.assign(reinterpret_cast<const char*>(next), count);
            next += count;
            left -= count;
        }
        return bytes;
    }

    const std::uint8_t* next;
    std::size_t left;
};

}  // namespace NovuFuzz

#endif  // NOVU_BASES_TESTS_FUZZ_FUZZ_H_
