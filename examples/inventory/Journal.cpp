// The journal, from Journal.h.

#include "Journal.h"

#include <Bases/CryptoHashMd5.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string_view>
#include <system_error>

#include "Beside.h"
#include "Failure.h"
#include "Files.h"
#include "Names.h"
#include "Walk.h"

namespace Inventory {

namespace {

constexpr std::string_view kKind = "inventory-journal 1\n";
const std::size_t kCheck = 8;    // Digits.
const std::size_t kDigest = 32;  // Digits.

// Clocks of file systems tick every few milliseconds, or every two seconds.
const long long kSettled = 2'000'000'000;

std::string CheckOf(const std::string& line) {
    return Novu::CryptoHashMd5().MD5String(line).substr(0, kCheck);
}

// What tells a file and its state.
std::string StateOf(const Entry& entry) {
    return std::to_string(entry.size) + " " +
           std::to_string(entry.modifiedExactly) + " " +
           std::to_string(entry.changedExactly) + " " +
           std::to_string(entry.id.device) + " " +
           std::to_string(entry.id.number) + " " + Escape(entry.path);
}

// The digits of a digest, and the blank behind them.
bool BeginsWithDigest(const std::string& text) {
    return text.find_first_not_of("0123456789abcdef") == kDigest &&
           text[kDigest] == ' ';
}

// Nobody else can have written it, nor meant another file.
bool IsOurs(const struct stat& info) {
    return info.st_uid == ::geteuid() && (info.st_mode & 077) == 0 &&
           info.st_nlink == 1;
}

bool WriteAll(int descriptor, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count =
            ::write(descriptor, text.data() + done, text.size() - done);
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

}  // namespace

Journal::Journal(const std::string& path)
    : name(Beside(path, ".journal")),
      // Of its owner alone, since it has names and digests.
      descriptor(::open(name.c_str(),
                        O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK |
                            O_NOCTTY | O_CLOEXEC,
                        0600)) {
    if (descriptor == -1) {
        throw Failure(Because(name));
    }
    try {
        Read();
    } catch (const Failure& failure) {
        ::close(descriptor);
        throw Failure(Printable(name) + ": " + failure.what());
    }
}

Journal::~Journal() { ::close(descriptor); }

std::string Journal::DigestOf(const Entry& entry) const {
    const auto found = digests.find(StateOf(entry));
    return found != digests.end() ? found->second : "";
}

std::string Journal::Add(const Entry& entry) {
    if (failed || entry.changedExactly > entry.listedExactly - kSettled) {
        return "";
    }
    const std::string line = entry.md5 + " " + StateOf(entry);
    if (WriteAll(descriptor, CheckOf(line) + " " + line + "\n")) {
        return "";
    }
    failed = true;
    return Because(name) + "; there is no more to go on from";
}

std::string Journal::LeftBeside(const std::string& path) {
    const std::string name = Beside(path, ".journal");
    struct stat info;
    return ::lstat(name.c_str(), &info) == 0 ? name : "";
}

void Journal::Remove() { ::unlink(name.c_str()); }

void Journal::Read() {
    struct stat info;
    if (::fstat(descriptor, &info) != 0) {
        throw Failure(std::generic_category().message(errno));
    }
    if (!S_ISREG(info.st_mode)) {
        throw Failure("something other than a journal is there");
    }
    if (!IsOurs(info)) {
        failed = true;
        refusal = Printable(name) +
                  ": is not used, since it is not its owner's alone";
        return;
    }
    id = IdOf(info);
    const std::string text =
        ReadFile("/dev/fd/" + std::to_string(descriptor), INT_MAX,
                 "2 GiB or more, which is no journal");
    // Killed before its first line was whole, perhaps.
    if (text.size() < kKind.size() &&
        kKind.compare(0, text.size(), text) == 0) {
        if (::ftruncate(descriptor, 0) != 0 ||
            !WriteAll(descriptor, std::string(kKind))) {
            throw Failure(std::generic_category().message(errno));
        }
        return;
    }
    if (text.compare(0, kKind.size(), kKind) != 0) {
        throw Failure("something other than a journal is there");
    }

    std::size_t start = kKind.size();
    std::size_t end;
    for (; (end = text.find('\n', start)) != std::string::npos;
         start = end + 1) {
        const std::string line = text.substr(start, end - start);
        if (line.size() <= kCheck) {
            continue;
        }
        const std::string checked = line.substr(kCheck + 1);
        if (line.substr(0, kCheck + 1) == CheckOf(checked) + " " &&
            BeginsWithDigest(checked)) {
            digests[checked.substr(kDigest + 1)] = checked.substr(0, kDigest);
        }
    }
    // The next line begins as one.
    if (start != text.size() &&
        ::ftruncate(descriptor, static_cast<off_t>(start)) != 0) {
        throw Failure(std::generic_category().message(errno));
    }
}

}  // namespace Inventory
