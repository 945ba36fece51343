// Directory enumeration, beside readdir with stat and with fstatat, and
// std::filesystem. The argument is the number of files in a directory of the
// benchmark's own.

#include "Bases/FileFind.h"

#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "benchmarks/Bench.h"
#include "benchmarks/Folder.h"

namespace {

// Made at the first use, with one byte for each file; removed at the end of the
// program.
const std::string& FolderOf(std::size_t files) {
    static std::map<std::size_t, bench::Folder> folders;
    const auto [folder, isNew] = folders.try_emplace(files);
    for (std::size_t file = 0; isNew && file < files; ++file) {
        std::ofstream(folder->second.path + "file " + std::to_string(file))
            << 'x';
    }
    return folder->second.path;
}

// Each answers the sum of the sizes, so that nothing is left out unseen.

unsigned long long ByNovu(const std::string& path) {
    unsigned long long bytes = 0;
    Novu::FileFind find;
    // FindNext does not pass over "." and "..", [filefind-2].
    for (bool found = find.FindFirst(path, ""); found;
         found = find.FindNext()) {
        if (find.GetFileType() == 2) {
            bytes += find.GetFileSize();
        }
    }
    return bytes;
}

template <typename Status>
unsigned long long ByReaddir(const std::string& path, Status status) {
    unsigned long long bytes = 0;
    DIR* const stream = ::opendir(path.c_str());
    // cppcheck-suppress readdirCalled ; nobody else has the stream
    while (const dirent* const entry = ::readdir(stream)) {
        struct stat info {};
        status(stream, entry->d_name, info);
        if (S_ISREG(info.st_mode)) {
            bytes += static_cast<unsigned long long>(info.st_size);
        }
    }
    ::closedir(stream);
    return bytes;
}

// By its path, as the library does.
unsigned long long ByStat(const std::string& path) {
    std::string entry = path;
    return ByReaddir(path, [&](DIR*, const char* name, struct stat& info) {
        entry.resize(path.size());
        entry += name;
        ::stat(entry.c_str(), &info);
    });
}

unsigned long long ByFstatat(const std::string& path) {
    return ByReaddir(path,
                     [](DIR* stream, const char* name, struct stat& info) {
                         ::fstatat(::dirfd(stream), name, &info, 0);
                     });
}

unsigned long long ByFilesystem(const std::string& path) {
    unsigned long long bytes = 0;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
        if (entry.is_regular_file()) {
            bytes += entry.file_size();
        }
    }
    return bytes;
}

template <unsigned long long (*sum)(const std::string&)>
void Walk(benchmark::State& state) {
    const std::string& path = FolderOf(bench::Size(state));
    static bench::Agreement agreement;
    if (!agreement.Holds(state, state.range(0),
                         [&] { return sum(path) == bench::Size(state); })) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(sum(path));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(100)->Arg(1000)->Arg(10000);
}

BENCHMARK(Walk<ByNovu>)->Name("Walk/Novu")->Apply(Sizes);
BENCHMARK(Walk<ByStat>)->Name("Walk/readdir + stat")->Apply(Sizes);
BENCHMARK(Walk<ByFstatat>)->Name("Walk/readdir + fstatat")->Apply(Sizes);
BENCHMARK(Walk<ByFilesystem>)->Name("Walk/std::filesystem")->Apply(Sizes);

}  // namespace
