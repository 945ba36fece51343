// Directory enumeration, beside readdir with fstatat and std::filesystem, over
// a directory of the benchmark's own.

#include "Bases/FileFind.h"

#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

const int kFiles = 1000;

// Made at the first use, removed at the end of the program.
class Folder {
public:
    Folder() {
        std::string name =
            (std::filesystem::temp_directory_path() / "novu-XXXXXX").string();
        path = std::string(::mkdtemp(name.data())) + "/";
        for (int file = 0; file < kFiles; ++file) {
            std::ofstream(path + "file " + std::to_string(file)) << file;
        }
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() { std::filesystem::remove_all(path); }

    std::string path;  // With "/" at its end.
};

const std::string& Path() {
    static const Folder folder;
    return folder.path;
}

void NovuFileFind(benchmark::State& state) {
    Path();
    for (auto _ : state) {
        unsigned long long bytes = 0;
        Novu::FileFind find;
        for (bool found = find.FindFirst(Path(), ""); found;
             found = find.FindNext()) {
            bytes += find.GetFileSize();
        }
        benchmark::DoNotOptimize(bytes);
    }
}

void ReaddirFstatat(benchmark::State& state) {
    Path();
    for (auto _ : state) {
        unsigned long long bytes = 0;
        DIR* const stream = ::opendir(Path().c_str());
        // cppcheck-suppress readdirCalled ; nobody else has the stream
        while (const dirent* const entry = ::readdir(stream)) {
            struct stat info {};
            ::fstatat(::dirfd(stream), entry->d_name, &info, 0);
            bytes += static_cast<unsigned long long>(info.st_size);
        }
        ::closedir(stream);
        benchmark::DoNotOptimize(bytes);
    }
}

void StdFilesystem(benchmark::State& state) {
    Path();
    for (auto _ : state) {
        unsigned long long bytes = 0;
        for (const auto& entry : std::filesystem::directory_iterator(Path())) {
            bytes += entry.file_size();
        }
        benchmark::DoNotOptimize(bytes);
    }
}

BENCHMARK(NovuFileFind);
BENCHMARK(ReaddirFstatat);
BENCHMARK(StdFilesystem);

}  // namespace
