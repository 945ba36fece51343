// Copies of a file, beside the loop that the library promises, with pieces of
// 1024 bytes, and std::filesystem::copy_file, which lets the system copy. In
// memory (/dev/shm) where there is room, so that no disk is measured.

#include "Bases/FileSys.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

#include "benchmarks/Bench.h"
#include "benchmarks/Folder.h"

namespace {

const std::string& FolderPath() {
    static const bench::Folder folder([] {
        const std::filesystem::path inMemory = "/dev/shm";
        std::error_code error;
        const auto space = std::filesystem::space(inMemory, error);
        const bool hasRoom = !error && space.available >= 256U << 20U;
        return hasRoom ? inMemory : std::filesystem::temp_directory_path();
    }());
    return folder.path;
}

void CopyByNovu(const std::string& from, const std::string& to) {
    Novu::FileSys::CopyFile(from, to);
}

// With the mode and the owner, as the library copies them.
void CopyByLoop(const std::string& from, const std::string& to) {
    const int source = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    ::fstat(source, &info);
    const int target = ::open(to.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC,
                              info.st_mode & 07777U);
    char piece[1024];
    ssize_t length = 0;
    while ((length = ::read(source, piece, sizeof piece)) > 0) {
        if (::write(target, piece, static_cast<std::size_t>(length)) < 0) {
            break;
        }
    }
    if (::fchown(target, info.st_uid, info.st_gid) != 0) {
        // As in the library: where it is not allowed, the owner is another.
    }
    ::close(target);
    ::close(source);
}

void CopyByFilesystem(const std::string& from, const std::string& to) {
    std::filesystem::copy_file(from, to);
}

std::string ContentsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

template <void (*copy)(const std::string&, const std::string&)>
void Copy(benchmark::State& state) {
    const std::string from =
        FolderPath() + "from " + std::to_string(state.range(0));
    const std::string to = FolderPath() + "to";
    if (!std::filesystem::exists(from)) {
        std::ofstream(from, std::ios::binary)
            << bench::RandomBytes(bench::Size(state));
    }
    static bench::Agreement agreement;
    const bool same = agreement.Holds(state, state.range(0), [&] {
        copy(from, to);
        const bool equal = ContentsOf(from) == ContentsOf(to);
        std::filesystem::remove(to);
        return equal;
    });
    if (!same) {
        return;
    }
    for (auto _ : state) {
        copy(from, to);
        state.PauseTiming();
        std::filesystem::remove(to);
        state.ResumeTiming();
    }
    bench::CountBytes(state);
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(1 << 16)->Arg(1 << 20)->Arg(1 << 23)->Arg(1 << 26);
}

BENCHMARK(Copy<CopyByNovu>)->Name("Copy/Novu")->Apply(Sizes);
BENCHMARK(Copy<CopyByLoop>)->Name("Copy/read + write 1024")->Apply(Sizes);
BENCHMARK(Copy<CopyByFilesystem>)->Name("Copy/copy_file")->Apply(Sizes);

}  // namespace
