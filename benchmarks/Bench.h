// What the benchmarks share.
//
// Each case is registered as Case/Peer or Case/Peer/argument, the library's own
// with the peer Novu: scripts/bench sets side by side what has the same case
// and the same argument. Peers of a case do the same work on the same input.

#ifndef NOVU_BENCHMARKS_BENCH_H_
#define NOVU_BENCHMARKS_BENCH_H_

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <string>

namespace bench {

/// The argument of a case as a size.
inline std::size_t Size(const benchmark::State& state) {
    return static_cast<std::size_t>(state.range(0));
}

/// For cases whose argument is a number of bytes.
inline void CountBytes(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

/// The same bytes for the same size.
inline std::string RandomBytes(std::size_t size) {
    std::mt19937 random(1);
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    return bytes;
}

/// For peers whose result is soon compared with the library's, before they are
/// timed: answers `same`. Where that is false, the case is to return without a
/// run.
inline bool Agrees(benchmark::State& state, bool same) {
    if (!same) {
        state.SkipWithError("the peer's result is another");
    }
    return same;
}

/// Whether a peer's result is the library's, found out once for each argument.
class Agreement {
public:
    /// Calls `same()` if it was not called for that argument before. Where it
    /// answered false, this does, and the case is to return without a run.
    template <typename Same>
    bool Holds(benchmark::State& state, std::int64_t argument, Same same) {
        const auto [verdict, isNew] = verdicts.try_emplace(argument, false);
        if (isNew) {
            verdict->second = same();
        }
        return Agrees(state, verdict->second);
    }

private:
    std::map<std::int64_t, bool> verdicts;
};

}  // namespace bench

#endif  // NOVU_BENCHMARKS_BENCH_H_
