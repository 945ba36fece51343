// SystemCalls: what the stand-ins of a test program record and answer.
//
// A test program defines functions of the C library itself, so that the library
// under test calls those. Each hands over to Called, which records the call
// as a line of text, such as "lseek 7 -5 SEEK_END".

#ifndef NOVU_BASES_TESTS_SUPPORT_SYSTEMCALLS_H_
#define NOVU_BASES_TESTS_SUPPORT_SYSTEMCALLS_H_

#include <fcntl.h>
#include <sys/types.h>

#include <cerrno>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace NovuTest {

/// What a call answers instead of what the system would; errno is set unless
/// `error` is 0.
struct Reply {
    long long result;
    int error = 0;
};

inline Reply Fails(int error) { return {-1, error}; }

using Log = std::vector<std::string>;

/// Records the calls of a scope. One at a time; without one, every stand-in
/// calls the system.
class SystemCalls {
public:
    SystemCalls() { Current() = this; }
    SystemCalls(const SystemCalls&) = delete;
    SystemCalls& operator=(const SystemCalls&) = delete;
    ~SystemCalls() { Current() = nullptr; }

    /// The next calls of `function` answer these, one after the other.
    void Script(const std::string& function, std::deque<Reply> replies) {
        next[function] = std::move(replies);
    }

    /// So does every call that Script leaves over; without this, the system
    /// answers them.
    void Always(const std::string& function, Reply reply) {
        always[function] = reply;
    }

    /// The n-th call of `function` from here on, 1 being the next one, fails.
    void FailAt(const std::string& function, int n, int error) {
        failing = {function, n, error};
    }

    /// Replies to every call, from its recorded text; nothing else is asked.
    void Decide(std::function<Reply(const std::string& call)> by) {
        decide = std::move(by);
    }

    /// What was recorded since the last time.
    Log Take() { return std::exchange(log, {}); }

    std::optional<Reply> Record(const std::string& function,
                                const std::string& arguments) {
        log.push_back(function + " " + arguments);
        if (decide) {
            return decide(log.back());
        }
        if (function == failing.function && --failing.left == 0) {
            return Fails(failing.error);
        }
        if (const auto queue = next.find(function);
            queue != next.end() && !queue->second.empty()) {
            const Reply reply = queue->second.front();
            queue->second.pop_front();
            return reply;
        }
        const auto found = always.find(function);
        return found == always.end() ? std::nullopt
                                     : std::optional<Reply>(found->second);
    }

    static SystemCalls*& Current() {
        static SystemCalls* current = nullptr;
        return current;
    }

private:
    Log log;
    std::map<std::string, std::deque<Reply>> next;
    std::map<std::string, Reply> always;
    std::function<Reply(const std::string&)> decide;
    struct {
        std::string function;
        int left = 0;
        int error = 0;
    } failing;
};

/// A stand-in for `function`: `arguments` gives their text, `system` calls what
/// the program would have called, `scripted` learns of a reply from the script.
template <typename Arguments, typename System, typename Scripted>
auto Called(const char* function, Arguments arguments, System system,
            Scripted scripted) -> decltype(system()) {
    SystemCalls* const calls = SystemCalls::Current();
    if (calls == nullptr) {
        return system();
    }
    const int error = errno;
    const std::optional<Reply> reply = calls->Record(function, arguments());
    errno = error;
    if (!reply) {
        return system();
    }
    scripted(*reply);
    if (reply->error != 0) {
        errno = reply->error;
    }
    return static_cast<decltype(system())>(reply->result);
}

template <typename Arguments, typename System>
auto Called(const char* function, Arguments arguments, System system) {
    return Called(function, arguments, system, [](const Reply&) {});
}

/// Four digits.
inline std::string OctalText(mode_t mode) {
    std::string text;
    for (const unsigned int shift : {9U, 6U, 3U, 0U}) {
        text += static_cast<char>('0' + ((mode >> shift) & 7U));
    }
    return text;
}

/// The arguments of open, the mode in octal where there is one.
inline std::string OpenText(const char* path, int flags, mode_t mode) {
    static const std::pair<int, const char*> kFlags[] = {
        {O_CREAT, "|O_CREAT"}, {O_EXCL, "|O_EXCL"}, {O_TRUNC, "|O_TRUNC"}};
    static const char* const kAccess[] = {" O_RDONLY", " O_WRONLY", " O_RDWR",
                                          " O_ACCMODE"};
    std::string text = path;
    text += kAccess[flags & O_ACCMODE];
    int rest = flags & ~O_ACCMODE;
    for (const auto& [flag, name] : kFlags) {
        if ((rest & flag) != 0) {
            text += name;
            rest &= ~flag;
        }
    }
    if (rest != 0) {
        text.append("|").append(std::to_string(rest));
    }
    if ((flags & O_CREAT) != 0) {
        text.append(" ").append(OctalText(mode));
    }
    return text;
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_SYSTEMCALLS_H_
