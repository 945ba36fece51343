// Md5Blocks (private): the blocks of a message worked into the state of MD5.
// Every path gives the same.

#ifndef NOVU_BASES_IMPL_MD5BLOCKS_H_
#define NOVU_BASES_IMPL_MD5BLOCKS_H_

#include <cstddef>
#include <cstdint>
#include <span>

namespace Novu {

inline constexpr std::size_t kMd5BlockSize = 64;

/// Works `count` blocks of 64 bytes from `data` into the four words of `state`.
/// Nothing needs to be aligned.
using Md5Transform = void(std::uint32_t (&state)[4], const char* data,
                          unsigned long count);

/// By the fastest path on this processor.
Md5Transform Md5TransformBlocks;

struct Md5Path {
    const char* name;
    unsigned int features;  // Of CpuFeatures.h.
    Md5Transform* transform;
};

/// The paths of this build, the fastest first.
std::span<const Md5Path> Md5Paths();

/// On any processor.
Md5Transform Md5TransformBlocksPlain;

/// AVX-512 on 128-bit registers: a step's function is one instruction.
Md5Transform Md5TransformBlocksAvx512;

}  // namespace Novu

#endif  // NOVU_BASES_IMPL_MD5BLOCKS_H_
