// Paths: what the tests of paths for particular processors share.

#ifndef NOVU_BASES_TESTS_SUPPORT_PATHS_H_
#define NOVU_BASES_TESTS_SUPPORT_PATHS_H_

#include <gtest/gtest.h>

#include <cctype>
#include <cstddef>
#include <ostream>
#include <random>
#include <string>

#include "Bases/Impl/CpuFeatures.h"

namespace Novu {

/// A path is called by its name, where GoogleTest looks for a way to print it.
template <typename Path>
requires requires(const Path& path) { path.name, path.features; }
void PrintTo(const Path& path, std::ostream* out) { *out << path.name; }

}  // namespace Novu

namespace NovuTest {

/// Tests of every path of a build, each by itself. Instructions that the
/// processor lacks would end the program, so their path cannot be taken on it;
/// that it was left out there is shown, by a skip with its name.
template <typename Path>
class PathTest : public testing::TestWithParam<Path> {
protected:
    void SetUp() override {
        if (!Novu::CpuHas(path.features)) {  // Nothing of it can run here.
            GTEST_SKIP() << "this processor has no " << path.name;
        }
    }

    const Path& path = this->GetParam();
};

/// As a part of the tests' names, which have letters and digits only.
template <typename Path>
std::string PathName(const testing::TestParamInfo<Path>& path) {
    std::string name = path.param.name;
    for (char& character : name) {
        if (std::isalnum(static_cast<unsigned char>(character)) == 0) {
            character = '_';
        }
    }
    return name;
}

/// `Bytes` is a container of char or unsigned char.
template <typename Bytes>
Bytes RandomBytes(std::size_t size, std::mt19937& random) {
    Bytes bytes(size, 0);
    for (auto& byte : bytes) {
        byte = static_cast<typename Bytes::value_type>(random());
    }
    return bytes;
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_PATHS_H_
