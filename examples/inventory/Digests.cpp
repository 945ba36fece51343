// The digests, from Digests.h.

#include "Digests.h"

#include <Bases/CryptoHashMd5.h>
#include <sys/types.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "Failure.h"
#include "Interrupt.h"
#include "RegularFile.h"

namespace Inventory {

namespace {

const std::size_t kMostWaiting = 1024;
const unsigned int kNoLimit = 0xFFFFFFFF;
const unsigned int kLookForInterrupt = 100;  // Milliseconds.

// Throws Failure, with the reason alone, where there is none.
std::string DigestOf(const std::string& path, const Entry& listed,
                     const std::atomic<bool>& abandoned,
                     std::atomic<unsigned long long>& bytesRead) {
    RegularFile file(path);
    Novu::CryptoHashMd5 md5;
    char context[88];
    md5.MD5Init(&context);
    std::array<char, 65536> piece;
    // No byte beyond the size, where some files of the system would wait.
    unsigned long long left = listed.size;
    while (left != 0) {
        if (abandoned) {
            throw Failure("abandoned");
        }
        const auto count = static_cast<std::size_t>(
            std::min<unsigned long long>(left, piece.size()));
        if (ReadBlock(file.Io(), piece.data(), count) != count) {
            if (errno != 0) {
                throw Failure(std::generic_category().message(errno));
            }
            break;
        }
        md5.MD5Update(&context, piece.data(), count);
        left -= count;
        bytesRead += count;
    }
    // Also where it changed before it was opened.
    if (!file.IsAsListed(listed)) {
        throw Failure("changed since it was listed");
    }
    if (left != 0) {
        throw Failure("shorter than its size");
    }

    Novu::CryptoHashMd5::MD5Digest_struct digest;
    md5.MD5Final(&digest, &context);
    return md5.MD5DigestToBase16(digest);
}

}  // namespace

Digests::Digests(const std::string& folder, Tick tick)
    : root(folder + '/'), whileWaiting(std::move(tick)) {
    oneIsDone.Create(/*manualReset=*/0, /*initialState=*/0, nullptr);
}

Digests::~Digests() {
    abandoned = true;
    pool.StopThread(kNoLimit, /*force=*/0);
}

void Digests::Add(Entry entry, bool wanted, Action action) {
    if (!wanted && waiting.empty()) {
        action(entry);
        return;
    }
    while (waiting.size() >= kMostWaiting) {
        HandOnFirst();
    }
    Waiting& added =
        waiting.emplace_back(std::move(entry), std::move(action), !wanted);
    if (wanted) {
        Start();
        pool.Post([this, &added] { Compute(added); });
    }
    while (!waiting.empty() && waiting.front().done) {
        HandOnFirst();
    }
}

void Digests::Finish() {
    while (!waiting.empty()) {
        HandOnFirst();
    }
}

void Digests::Start() {
    if (pool.IsThreadRunning() != 0) {
        return;
    }
    // The pool also says that it runs where the system has no thread to give;
    // nothing would ever be done. Its handle is then nobody's.
    if (pool.StartThread(/*suspended=*/0) == 0 ||
        *pool.GetHandle() == pthread_t{}) {
        throw Failure("the system has no thread for the digests");
    }
}

// On the pool's thread, which no exception may leave.
void Digests::Compute(Waiting& file) {
    try {
        file.entry.md5 =
            DigestOf(root + file.entry.path, file.entry, abandoned, bytesRead);
    } catch (const std::exception&) {
        file.failure = std::current_exception();
    }
    bytesRead = 0;
    file.done = true;  // Which lets go of it.
    oneIsDone.Set();
}

void Digests::HandOnFirst() {
    Waiting& first = waiting.front();
    while (!first.done) {
        StopIfInterrupted();
        if (oneIsDone.Wait(kLookForInterrupt) == 0) {
            whileWaiting(bytesRead);
        }
    }
    if (first.failure != nullptr) {
        try {
            std::rethrow_exception(first.failure);
        } catch (const Failure& failure) {
            first.entry.problem = failure.what();
        }
    }
    first.action(first.entry);
    waiting.pop_front();
}

}  // namespace Inventory
