// Every operation of the library that asks the system, and the answers: each of
// its calls fails once, in turn, with each error that it is known for.
//
// A row gives an operation, what it answers when nothing fails ("done"), and
// its calls in their order, each with what the operation answers where that one
// fails: "open 0". A third word is what the operation answers when it is then
// called again on the same object; otherwise it is done. Wherever it does not
// answer as if it were done, errno is as the failing call set it; and
// descriptors are those of before in the end.

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Bases/FileFind.h"
#include "Bases/FileIo.h"
#include "Bases/FileSys.h"
#include "Bases/Guid.h"
#include "Bases/Module.h"
#include "Bases/Sem.h"
#include "Bases/Shm.h"
#include "Bases/Thread.h"
#include "Bases/ThreadSync.h"
#include "Bases/Time.h"
#include "Bases/Timer.h"
#include "tests/support/Concurrency.h"
#include "tests/support/Descriptors.h"
#include "tests/support/NextSymbol.h"
#include "tests/support/SemaphoreName.h"
#include "tests/support/TempDir.h"

namespace {

using NovuTest::NextSymbol;

// The calls of a scope on the thread that made it; the n-th one fails.
class Calls {
public:
    Calls(std::size_t n, int error) : failing(n), failure(error) {
        current = this;
    }
    Calls(const Calls&) = delete;
    Calls& operator=(const Calls&) = delete;
    ~Calls() { current = nullptr; }

    bool Fails(const char* function) {
        names.emplace_back(function);
        if (names.size() != failing) {
            return false;
        }
        errno = failure;
        return true;
    }

    const std::vector<std::string>& Names() const { return names; }

    static inline thread_local Calls* current = nullptr;

private:
    std::size_t failing;
    int failure;
    std::vector<std::string> names;
};

// What a stand-in answers: `failure` where it fails.
template <typename Answer, typename System>
Answer Ask(const char* function, Answer failure, System system) {
    return Calls::current != nullptr && Calls::current->Fails(function)
               ? failure
               : system();
}

// The same for what is done all the same, as a close is that fails.
template <typename Answer>
Answer AskAfter(const char* function, Answer failure, Answer answer) {
    return Ask(function, failure, [&] { return answer; });
}

}  // namespace

extern "C" {

// Files

int open(const char* path, int flags, ...) {
    static auto* const next = NextSymbol<int(const char*, int, ...)>("open");
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list list;
        va_start(list, flags);
        mode = va_arg(list, mode_t);
        va_end(list);
    }
    return Ask("open", -1, [&] { return next(path, flags, mode); });
}

int close(int fd) {
    static auto* const next = NextSymbol<int(int)>("close");
    return AskAfter("close", -1, next(fd));
}

ssize_t read(int fd, void* buffer, std::size_t size) {
    static auto* const next =
        NextSymbol<ssize_t(int, void*, std::size_t)>("read");
    return Ask("read", ssize_t{-1}, [&] { return next(fd, buffer, size); });
}

ssize_t write(int fd, const void* buffer, std::size_t size) {
    static auto* const next =
        NextSymbol<ssize_t(int, const void*, std::size_t)>("write");
    return Ask("write", ssize_t{-1}, [&] { return next(fd, buffer, size); });
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
    static auto* const next = NextSymbol<off_t(int, off_t, int)>("lseek");
    return Ask("lseek", off_t{-1}, [&] { return next(fd, offset, whence); });
}

int dup(int fd) noexcept {
    static auto* const next = NextSymbol<int(int)>("dup");
    return Ask("dup", -1, [&] { return next(fd); });
}

int fsync(int fd) {
    static auto* const next = NextSymbol<int(int)>("fsync");
    return Ask("fsync", -1, [&] { return next(fd); });
}

int access(const char* path, int mode) noexcept {
    static auto* const next = NextSymbol<int(const char*, int)>("access");
    return Ask("access", -1, [&] { return next(path, mode); });
}

int stat(const char* path, struct stat* out) noexcept {
    static auto* const next =
        NextSymbol<int(const char*, struct stat*)>("stat");
    return Ask("stat", -1, [&] { return next(path, out); });
}

int fstat(int fd, struct stat* out) noexcept {
    static auto* const next = NextSymbol<int(int, struct stat*)>("fstat");
    return Ask("fstat", -1, [&] { return next(fd, out); });
}

int statvfs(const char* path, struct statvfs* out) noexcept {
    static auto* const next =
        NextSymbol<int(const char*, struct statvfs*)>("statvfs");
    return Ask("statvfs", -1, [&] { return next(path, out); });
}

int fchown(int fd, uid_t user, gid_t group) noexcept {
    static auto* const next = NextSymbol<int(int, uid_t, gid_t)>("fchown");
    return Ask("fchown", -1, [&] { return next(fd, user, group); });
}

int mkdir(const char* path, mode_t mode) noexcept {
    static auto* const next = NextSymbol<int(const char*, mode_t)>("mkdir");
    return Ask("mkdir", -1, [&] { return next(path, mode); });
}

int rmdir(const char* path) noexcept {
    static auto* const next = NextSymbol<int(const char*)>("rmdir");
    return Ask("rmdir", -1, [&] { return next(path); });
}

int remove(const char* path) noexcept {
    static auto* const next = NextSymbol<int(const char*)>("remove");
    return Ask("remove", -1, [&] { return next(path); });
}

int rename(const char* from, const char* to) noexcept {
    static auto* const next =
        NextSymbol<int(const char*, const char*)>("rename");
    return Ask("rename", -1, [&] { return next(from, to); });
}

DIR* opendir(const char* path) {
    static auto* const next = NextSymbol<DIR*(const char*)>("opendir");
    return Ask("opendir", static_cast<DIR*>(nullptr),
               [&] { return next(path); });
}

// "." and ".." are passed over, which stand anywhere.
dirent* readdir(DIR* stream) {
    static auto* const next = NextSymbol<dirent*(DIR*)>("readdir");
    return Ask("readdir", static_cast<dirent*>(nullptr), [&] {
        dirent* entry = next(stream);
        while (entry != nullptr && entry->d_name[0] == '.') {
            entry = next(stream);
        }
        return entry;
    });
}

int closedir(DIR* stream) {
    static auto* const next = NextSymbol<int(DIR*)>("closedir");
    return AskAfter("closedir", -1, next(stream));
}

ssize_t readlink(const char* path, char* buffer, std::size_t size) noexcept {
    static auto* const next =
        NextSymbol<ssize_t(const char*, char*, std::size_t)>("readlink");
    return Ask("readlink", ssize_t{-1},
               [&] { return next(path, buffer, size); });
}

// Segments

int shmget(key_t key, std::size_t size, int flags) noexcept {
    static auto* const next =
        NextSymbol<int(key_t, std::size_t, int)>("shmget");
    return Ask("shmget", -1, [&] { return next(key, size, flags); });
}

void* shmat(int identifier, const void* address, int flags) noexcept {
    static auto* const next = NextSymbol<void*(int, const void*, int)>("shmat");
    // NOLINTNEXTLINE(performance-no-int-to-ptr): its word for a failure.
    return Ask("shmat", reinterpret_cast<void*>(-1),
               [&] { return next(identifier, address, flags); });
}

int shmdt(const void* address) noexcept {
    static auto* const next = NextSymbol<int(const void*)>("shmdt");
    return AskAfter("shmdt", -1, next(address));
}

int shmctl(int identifier, int command, shmid_ds* record) noexcept {
    static auto* const next = NextSymbol<int(int, int, shmid_ds*)>("shmctl");
    return AskAfter("shmctl", -1, next(identifier, command, record));
}

// Semaphores

sem_t* sem_open(const char* name, int flags, ...) noexcept {
    static auto* const next =
        NextSymbol<sem_t*(const char*, int, ...)>("sem_open");
    mode_t mode = 0;
    unsigned int value = 0;
    if ((flags & O_CREAT) != 0) {
        va_list list;
        va_start(list, flags);
        mode = va_arg(list, mode_t);
        value = va_arg(list, unsigned int);
        va_end(list);
    }
    return Ask("sem_open", SEM_FAILED,
               [&] { return next(name, flags, mode, value); });
}

int sem_unlink(const char* name) noexcept {
    static auto* const next = NextSymbol<int(const char*)>("sem_unlink");
    return AskAfter("sem_unlink", -1, next(name));
}

int sem_wait(sem_t* handle) {
    static auto* const next = NextSymbol<int(sem_t*)>("sem_wait");
    return Ask("sem_wait", -1, [&] { return next(handle); });
}

int sem_trywait(sem_t* handle) noexcept {
    static auto* const next = NextSymbol<int(sem_t*)>("sem_trywait");
    return Ask("sem_trywait", -1, [&] { return next(handle); });
}

int sem_post(sem_t* handle) noexcept {
    static auto* const next = NextSymbol<int(sem_t*)>("sem_post");
    return Ask("sem_post", -1, [&] { return next(handle); });
}

int sem_getvalue(sem_t* handle, int* value) noexcept {
    static auto* const next = NextSymbol<int(sem_t*, int*)>("sem_getvalue");
    return Ask("sem_getvalue", -1, [&] { return next(handle, value); });
}

// The clock, which nobody sets.

int gettimeofday(timeval* now, void* zone) noexcept {
    static auto* const next = NextSymbol<int(timeval*, void*)>("gettimeofday");
    return Ask("gettimeofday", -1, [&] { return next(now, zone); });
}

int settimeofday(const timeval* /*now*/,
                 const struct timezone* /*zone*/) noexcept {
    return Ask("settimeofday", -1, [] { return 0; });
}

std::tm* gmtime_r(const std::time_t* seconds, std::tm* fields) noexcept {
    static auto* const next =
        NextSymbol<std::tm*(const std::time_t*, std::tm*)>("gmtime_r");
    return Ask("gmtime_r", static_cast<std::tm*>(nullptr),
               [&] { return next(seconds, fields); });
}

std::tm* localtime_r(const std::time_t* seconds, std::tm* fields) noexcept {
    static auto* const next =
        NextSymbol<std::tm*(const std::time_t*, std::tm*)>("localtime_r");
    return Ask("localtime_r", static_cast<std::tm*>(nullptr),
               [&] { return next(seconds, fields); });
}

std::time_t mktime(std::tm* fields) noexcept {
    static auto* const next = NextSymbol<std::time_t(std::tm*)>("mktime");
    return Ask("mktime", std::time_t{-1}, [&] { return next(fields); });
}

// Processes and threads

int kill(pid_t process, int signal) noexcept {
    static auto* const next = NextSymbol<int(pid_t, int)>("kill");
    return Ask("kill", -1, [&] { return next(process, signal); });
}

int sched_yield() noexcept {
    static auto* const next = NextSymbol<int()>("sched_yield");
    return Ask("sched_yield", -1, [&] { return next(); });
}

// Answers the error, and leaves errno alone.
int pthread_create(pthread_t* handle, const pthread_attr_t* attributes,
                   void* (*entry)(void*), void* argument) noexcept {
    static auto* const next =
        NextSymbol<int(pthread_t*, const pthread_attr_t*, void* (*)(void*),
                       void*)>("pthread_create");
    return Ask("pthread_create", EAGAIN,
               [&] { return next(handle, attributes, entry, argument); });
}

ssize_t getrandom(void* buffer, std::size_t size, unsigned int flags) {
    static auto* const next =
        NextSymbol<ssize_t(void*, std::size_t, unsigned int)>("getrandom");
    return Ask("getrandom", ssize_t{-1},
               [&] { return next(buffer, size, flags); });
}

int getentropy(void* buffer, std::size_t size) {
    static auto* const next = NextSymbol<int(void*, std::size_t)>("getentropy");
    return Ask("getentropy", -1, [&] { return next(buffer, size); });
}

}  // extern "C"

namespace {

using Novu::FileFind;
using Novu::FileIo;
using Novu::Guid;
using Novu::Mutex;
using Novu::NovuEvent;
using Novu::NovuSemaphore;
using Novu::Shm;
using Novu::SysTime;
using Novu::Thread;
using NovuTest::ContentOf;
using NovuTest::OpenDescriptors;
using NovuTest::SemaphoreName;
using NovuTest::TempDir;

namespace FileSys = Novu::FileSys;

// What each call is known to fail with.
const std::map<std::string, std::vector<int>> kErrors = {
    {"open", {ENOENT, EACCES, EMFILE, ENOSPC, EINTR}},
    {"close", {EIO, EINTR}},
    {"read", {EIO, EINTR, EAGAIN}},
    {"write", {ENOSPC, EIO, EINTR, EFBIG}},
    {"lseek", {EINVAL, ESPIPE, EOVERFLOW}},
    {"dup", {EMFILE}},
    {"fsync", {EIO, ENOSPC, EINTR}},
    {"access", {ENOENT, EACCES, ENOMEM}},
    {"stat", {ENOENT, EACCES, ELOOP, ENOMEM}},
    {"fstat", {EIO, EOVERFLOW}},
    {"statvfs", {EIO, EINTR, EACCES}},
    {"fchown", {EPERM, EIO}},
    {"mkdir", {EACCES, ENOSPC, EROFS}},
    {"rmdir", {ENOTEMPTY, EBUSY, EACCES}},
    {"remove", {ENOENT, EBUSY, EACCES}},
    {"rename", {EXDEV, ENOSPC, EACCES}},
    {"opendir", {ENOENT, EMFILE, ENOMEM}},
    {"readdir", {EBADF, EIO}},
    {"closedir", {EBADF}},
    {"readlink", {ENOENT, EACCES}},
    {"shmget", {ENOSPC, ENOMEM, EACCES}},
    {"shmat", {ENOMEM, EACCES}},
    {"shmdt", {EINVAL}},
    {"shmctl", {EPERM}},
    {"sem_open", {EACCES, EMFILE, ENOSPC}},
    {"sem_unlink", {EACCES}},
    {"sem_wait", {EINTR, EINVAL}},
    {"sem_trywait", {EAGAIN, EINTR}},
    {"sem_post", {EOVERFLOW}},
    {"sem_getvalue", {EINVAL}},
    {"gettimeofday", {EFAULT}},
    {"settimeofday", {EPERM, EINVAL}},
    {"gmtime_r", {EOVERFLOW}},
    {"localtime_r", {EOVERFLOW}},
    {"mktime", {EOVERFLOW}},
    {"kill", {ESRCH}},
    {"sched_yield", {ENOSYS}},
    {"pthread_create", {0}},
    {"getrandom", {EIO, ENOSYS}},
    {"getentropy", {EIO, ENOSYS}},
};

// What the operations work on, fresh for each call that fails.
struct Subject {
    TempDir temp;
    std::string directory = temp.MakeDir("directory") + "/";
    std::string file = temp.Write("directory/file", "12345");
    std::string second = temp.Write("directory/second", "12345");
    std::string empty = temp.MakeDir("empty");
    std::string missing = temp / "missing";

    FileIo io;
    FileFind find;
    Shm shm;
    std::string segment;
    SemaphoreName name;
    NovuSemaphore semaphore;
    NovuEvent event;
    Mutex mutex;
    Thread thread;
    Guid guid;
    char buffer[8] = "junk";
    SysTime record = {124, 2, 4, 29, 12, 30, 30, 0, -1};
    long long time = 1700000000000;

    Subject() {
        static int last = 0;
        segment = "novu-system-faults-" + std::to_string(::getpid()) + "-" +
                  std::to_string(++last);
    }

    bool OpenIo(unsigned int creation) {
        return io.Open(file, /*access=*/0xC0000000, /*share=*/0, creation);
    }
};

using Run = std::string (*)(Subject& s);

struct Row {
    int line;
    void (*prepare)(Subject& s);
    Run run;
    std::string done;
    std::vector<std::string> calls;
};

std::string Text(bool answer) { return answer ? "1" : "0"; }
std::string Text(int answer) { return std::to_string(answer); }
std::string Text(unsigned int answer) { return std::to_string(answer); }
std::string Text(long long answer) { return std::to_string(answer); }

// An answer and an output, which is -1 at first.
template <typename Output>
std::string Text(bool answer, Output output) {
    return Text(answer) + ":" + std::to_string(output);
}

using SystemFaultsTest = NovuTest::WithDeadline;

void Nothing(Subject& /*s*/) {}

// Of a file, by calls that are not of the operation.
std::string Content(const std::string& path) {
    Calls* const calls = std::exchange(Calls::current, nullptr);
    const int error = errno;
    std::string content = ContentOf(path);
    errno = error;
    Calls::current = calls;
    return content;
}

int points = 0;  // Failures that were made.

// One failure: the n-th call of the row, with that error.
void Fail(const Row& row, std::size_t n, int error, const std::string& expected,
          const std::string& again) {
    const auto descriptors = OpenDescriptors();
    {
        Subject subject;
        row.prepare(subject);
        std::string answer;
        int left = 0;
        {
            const Calls calls(n, error);
            errno = 0;
            answer = row.run(subject);
            left = errno;
        }
        EXPECT_EQ(expected, answer);
        if (answer != row.done) {
            EXPECT_EQ(error, left);
        }
        EXPECT_EQ(again, row.run(subject)) << "again";
    }
    EXPECT_EQ(descriptors, OpenDescriptors());
    ++points;
}

void Walk(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.line);
        std::vector<std::string> made;
        {
            Subject subject;
            row.prepare(subject);
            const Calls calls(0, 0);
            EXPECT_EQ(row.done, row.run(subject));
            made = calls.Names();
        }
        std::vector<std::string> listed;
        for (std::size_t at = 0; at != row.calls.size(); ++at) {
            std::istringstream words(row.calls[at]);
            std::string function;
            std::string answer;
            std::string again = row.done;
            words >> function >> answer >> again;
            listed.push_back(function);
            for (const int error : kErrors.at(function)) {
                SCOPED_TRACE(testing::Message() << "call " << at + 1 << ", "
                                                << function << ", " << error);
                Fail(row, at + 1, error, answer, again);
            }
        }
        EXPECT_EQ(listed, made);
    }
    testing::Test::RecordProperty("points", points);
}

// FileIo

TEST_F(SystemFaultsTest, FileIo) {
    const auto opened = [](Subject& s) { s.OpenIo(4); };
    Walk({
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(s.OpenIo(4)); },
         "1",
         {"open 0"}},
        // A second attempt follows, which closes no descriptor.
        {__LINE__,
         Nothing,
         [](Subject& s) {
             return Text(s.io.Open(s.missing, 0x40000000, 3, 2));
         },
         "1",
         {"open 1"}},
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(s.OpenIo(1)); },
         "0",
         {"open 0", "open 0"}},
        // What was open is closed first.
        {__LINE__,
         opened,
         [](Subject& s) { return Text(s.OpenIo(4)); },
         "1",
         {"close 1", "open 0"}},
        {__LINE__,
         opened,
         [](Subject& s) {
             const bool before = s.io.IsOpened();
             s.io.Close();
             return Text(before, s.io.IsOpened() ? 1 : 0);
         },
         "1:0",
         {"close 1:0 0:0"}},
        {__LINE__,
         opened,
         [](Subject& s) {
             s.io.SeekToBegin();
             const unsigned int count = s.io.Read(s.buffer, 3);
             return Text(count) + s.buffer;
         },
         "3123k",
         {"lseek 3123k", "read 0junk"}},
        {__LINE__,
         opened,
         [](Subject& s) { return Text(s.io.Write(s.buffer, 3)); },
         "3",
         {"write 0"}},
        {__LINE__,
         opened,
         [](Subject& s) { return Text(s.io.Seek(2, 0)); },
         "2",
         {"lseek 0"}},
        {__LINE__,
         opened,
         [](Subject& s) { return Text(s.io.SeekFromBegin(3)); },
         "3",
         {"lseek 0"}},
        {__LINE__,
         opened,
         [](Subject& s) { return Text(s.io.SeekFromEnd(1)); },
         "4",
         {"lseek 0"}},
        {__LINE__,
         opened,
         [](Subject& s) { return Text(s.io.SeekToBegin()); },
         "0",
         {"lseek 0"}},
        {__LINE__,
         opened,
         [](Subject& s) { return Text(s.io.SeekToEnd()); },
         "5",
         {"lseek 0"}},
        {__LINE__,
         [](Subject& s) {
             s.OpenIo(4);
             s.io.Seek(2, 0);
         },
         [](Subject& s) { return Text(s.io.Tell()); },
         "2",
         {"lseek 0"}},
        {__LINE__,
         opened,
         [](Subject& s) { return Text(s.io.GetFileSize()); },
         "5",
         {"dup 0", "lseek 0", "lseek 0", "close 5"}},
        {__LINE__,
         opened,
         [](Subject& s) { return Text(s.io.SetEndOfFile()); },
         "1",
         {"lseek 0"}},
        {__LINE__,
         opened,
         [](Subject& s) { return Text(s.io.SetFileSize(2)); },
         "1",
         {"lseek 0", "lseek 0"}},
        {__LINE__,
         opened,
         [](Subject& s) { return Text(s.io.Flush()); },
         "1",
         {"fsync 0"}},
    });
}

// FileFind

TEST_F(SystemFaultsTest, FileFind) {
    Walk({
        {__LINE__,
         Nothing,
         [](Subject& s) {
             const bool found = s.find.FindFirst(s.directory, "");
             const std::string text = Text(found, s.find.GetFileSize());
             s.find.FindClose();
             return text;
         },
         "1:5",
         {"opendir 0:0", "readdir 0:0", "stat 0:0", "closedir 1:5"}},
        // [filefind-3]: the entry that could not be read is passed.
        {__LINE__,
         [](Subject& s) { s.find.FindFirst(s.directory, ""); },
         [](Subject& s) { return Text(s.find.FindNext()); },
         "1",
         {"readdir 0 1", "stat 0 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) {
             struct stat info {};
             const bool known = Novu::GetFileInfo(s.directory, "file", info);
             return Text(known, info.st_size);
         },
         "1:5",
         {"stat 0:0"}},
    });
}

// FileSys

TEST_F(SystemFaultsTest, FileSys) {
    Walk({
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(FileSys::IsExistFile(s.file)); },
         "1",
         {"access 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(FileSys::IsDirectory(s.directory)); },
         "1",
         {"stat 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(FileSys::CreateDir(s.missing)); },
         "1",
         {"mkdir 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) {
             return Text(FileSys::CreateDirLevel(s.missing + "/a/b",
                                                 s.temp.Path().size(), 1));
         },
         "1",
         {"access 1", "mkdir 0", "access 1", "mkdir 0", "access 1", "mkdir 0",
          "stat 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(FileSys::DeleteDir(s.empty)); },
         "1",
         {"rmdir 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(FileSys::DeleteFile(s.file)); },
         "1",
         {"remove 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(FileSys::MoveFile(s.file, s.missing)); },
         "1",
         {"rename 0"}},
        // [filesys-3]: once the target is open, nothing is noticed.
        {__LINE__,
         Nothing,
         [](Subject& s) {
             const bool copied = FileSys::CopyFile(s.file, s.missing);
             return Text(copied) + Content(s.missing);
         },
         "112345",
         {"access 112345 012345", "open 0", "fstat 112345 012345", "open 0",
          "read 1 0", "write 1 0", "read 112345 012345", "fchown 112345 012345",
          "close 112345 012345", "close 112345 012345"}},
        {__LINE__,
         Nothing,
         [](Subject& s) {
             unsigned long long size = 9;
             const bool known = FileSys::GetFileSize(s.file, size);
             return Text(known, size);
         },
         "1:0",
         {"open 1:0", "dup 1:0", "lseek 1:0", "lseek 1:0", "close 1:0",
          "close 1:0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) {
             unsigned long long total = 0;
             unsigned long long used = 0;
             unsigned long long free = 0;
             const bool known =
                 FileSys::GetDiskSize(s.directory, total, used, free);
             return Text(known, total != 0 ? 1 : 0);
         },
         "1:1",
         {"statvfs 0:0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) {
             unsigned long long size = 0;
             const bool known = FileSys::GetDiskTotalSize(s.directory, size);
             return Text(known, size != 0 ? 1 : 0);
         },
         "1:1",
         {"statvfs 0:0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) {
             unsigned long long size = 0;
             return Text(FileSys::GetDiskUsedSize(s.directory, size));
         },
         "1",
         {"statvfs 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) {
             unsigned long long size = 0;
             return Text(FileSys::GetDiskFreeSize(s.directory, size));
         },
         "1",
         {"statvfs 0"}},
    });
}

// Shm

TEST_F(SystemFaultsTest, Shm) {
    const auto made = [](Subject& s) {
        s.shm.Create(100, s.segment.c_str(), 1, 0);
    };
    Walk({
        // [shm-4]: what fails stays, and is refused.
        {__LINE__,
         Nothing,
         [](Subject& s) {
             return Text(s.shm.Create(100, s.segment.c_str(), 1, 0));
         },
         "1",
         {"shmget 0 0"}},
        // [shm-5]
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(s.shm.Open(s.segment.c_str(), 1)); },
         "1",
         {"shmget 1 0"}},
        // [shm-6]
        {__LINE__,
         made,
         [](Subject& s) {
             unsigned char* const address = s.shm.Map();
             // NOLINTNEXTLINE(performance-no-int-to-ptr): as the system's.
             const bool isNone =
                 address == reinterpret_cast<unsigned char*>(-1);
             return isNone ? "none" : Text(s.shm.Unmap(address));
         },
         "1",
         {"shmat none", "shmdt 0"}},
        {__LINE__,
         made,
         [](Subject& s) {
             s.shm.Close();
             return Text(s.shm.IsOpened());
         },
         "0",
         {"shmctl 0"}},
    });
}

// Named semaphores, and what stands on them

// Where sem_open fails, [sem-6] holds: what failed stays, and is refused.
TEST_F(SystemFaultsTest, Semaphores) {
    const auto made = [](Subject& s) {
        s.semaphore.Create(NovuSemaphore::Signalled, s.name, 0);
        s.semaphore.Post();  // One may be lost.
    };
    Walk({
        {__LINE__,
         Nothing,
         [](Subject& s) {
             return Text(
                 s.semaphore.Create(NovuSemaphore::Signalled, s.name, 0));
         },
         "1",
         {"sem_open 0 0"}},
        {__LINE__,
         made,
         [](Subject& s) {
             const int answer = s.semaphore.Wait(0xFFFFFFFF);
             s.semaphore.Post();
             return Text(answer);
         },
         "1",
         {"sem_wait 0", "sem_post 1"}},
        {__LINE__,
         made,
         [](Subject& s) {
             const int answer = s.semaphore.Wait(0);
             s.semaphore.Post();
             return Text(answer);
         },
         "1",
         {"sem_trywait 0", "sem_post 1"}},
        {__LINE__,
         made,
         [](Subject& s) {
             int count = -1;
             const int answer = s.semaphore.GetSemCounts(count);
             return Text(answer != 0, count);
         },
         "1:2",
         {"sem_getvalue 0:-1"}},
        {__LINE__,
         made,
         [](Subject& s) {
             const int answer = s.semaphore.Destroy();
             return Text(answer != 0, s.semaphore.IsCreated());
         },
         "1:0",
         {"sem_unlink 1:0"}},
    });
}

TEST_F(SystemFaultsTest, Events) {
    const auto made = [](Subject& s) { s.event.Create(1, 0, s.name); };
    Walk({
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(s.event.Create(1, 1, s.name)); },
         "1",
         {"sem_open 0 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(s.event.Open(s.name)); },
         "1",
         {"sem_open 0 0"}},
        // It is set all the same, for this object.
        {__LINE__,
         made,
         [](Subject& s) {
             const int answer = s.event.Set();
             return Text(answer != 0, s.event.Wait(0));
         },
         "1:1",
         {"sem_post 1:1"}},
        {__LINE__,
         made,
         [](Subject& s) { return Text(s.event.Reset()); },
         "1",
         {"sem_getvalue 0"}},
        {__LINE__,
         [](Subject& s) {
             s.event.Create(1, 0, s.name);
             s.event.GetSemaphore()->Post();
             s.event.GetSemaphore()->Post();
         },
         [](Subject& s) {
             const int answer = s.event.Wait(0xFFFFFFFF);
             s.event.GetSemaphore()->Post();
             return Text(answer);
         },
         "1",
         {"sem_wait 0", "sem_post 1"}},
    });
}

TEST_F(SystemFaultsTest, Mutexes) {
    const auto made = [](Subject& s) {
        s.mutex.Create(s.name);
        s.mutex.Unlock();  // One may be lost.
    };
    Walk({
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(s.mutex.Create(s.name)); },
         "1",
         {"sem_open 0 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(s.mutex.Open(s.name)); },
         "1",
         {"sem_open 0 0"}},
        {__LINE__,
         made,
         [](Subject& s) {
             const int answer = s.mutex.Lock(0xFFFFFFFF);
             s.mutex.Unlock();
             return Text(answer);
         },
         "1",
         {"sem_wait 0", "sem_post 1"}},
        {__LINE__,
         made,
         [](Subject& s) {
             s.mutex.Close();
             return Text(s.mutex.IsOpened());
         },
         "0",
         {"sem_unlink 0"}},
    });
}

// Threads

// [thread-5]
TEST_F(SystemFaultsTest, Threads) {
    Walk({
        {__LINE__,
         Nothing,
         [](Subject& s) {
             const int answer = s.thread.StartThread(0);
             const bool isThread = s.thread.GetThreadId() != 0;
             s.thread.StopThread(0xFFFFFFFF, 0);
             return Text(answer != 0, isThread ? 1 : 0);
         },
         "1:1",
         {"pthread_create 1:0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(s.thread.YieldThread()); },
         "1",
         {"sched_yield 0"}},
    });
}

// Module

TEST_F(SystemFaultsTest, Module) {
    Walk({
        {__LINE__,
         Nothing,
         [](Subject& /*s*/) {
             char directory[4096] = "junk";
             const bool known =
                 Novu::GetProcessDir(directory, sizeof directory);
             return Text(known, directory[0] == '/' ? 1 : 0);
         },
         "1:1",
         {"readlink 0:0"}},
        {__LINE__,
         Nothing,
         [](Subject& /*s*/) {
             std::string directory = "junk";
             Novu::GetModuleDir(directory);
             return Text(directory.empty() ? 0 : 1);
         },
         "1",
         {"readlink 0"}},
        {__LINE__,
         Nothing,
         [](Subject& /*s*/) {
             return Text(Novu::IsExistProcess(Novu::GetProcessId()));
         },
         "1",
         {"kill 0"}},
    });
    const Calls calls(1, EPERM);
    EXPECT_TRUE(Novu::IsExistProcess(1)) << "of another user";
}

// Time. Of the clock, only whether it is known is the same each time.

TEST_F(SystemFaultsTest, Time) {
    Walk({
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(Novu::TimeToSysTime(s.time, s.record)); },
         "1",
         {"gmtime_r 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) {
             return Text(Novu::TimeToLocalSysTime(s.time, s.record));
         },
         "1",
         {"localtime_r 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(Novu::SysTimeToTime(s.record, s.time)); },
         "1",
         {"mktime 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) {
             return Text(Novu::LocalSysTimeToTime(s.record, s.time));
         },
         "1",
         {"mktime 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) {
             long long out = -1;
             const bool known = Novu::TimeToLocalTime(s.time, out);
             return Text(known, out);
         },
         "1:1700000000000",
         {"localtime_r 0:-1", "mktime 0:-1"}},
        {__LINE__,
         Nothing,
         [](Subject& s) {
             long long out = -1;
             const bool known = Novu::LocalTimeToTime(s.time, out);
             return Text(known, out == -1 ? -1 : 1);
         },
         "1:1",
         {"gmtime_r 0:-1", "mktime 0:-1"}},
        {__LINE__,
         Nothing,
         [](Subject& /*s*/) {
             long seconds = -1;
             long milliseconds = -1;
             const int answer = Novu::GetLocalTime(seconds, milliseconds);
             return Text(answer != 0, seconds == -1 ? -1 : 1);
         },
         "1:1",
         {"gettimeofday 0:-1"}},
        // [time-2]: the seconds are set where mktime finds none.
        {__LINE__,
         Nothing,
         [](Subject& /*s*/) {
             long seconds = -9;
             long milliseconds = -9;
             const int answer = Novu::GetTime(seconds, milliseconds);
             return Text(answer != 0, seconds < 0 ? seconds : 1);
         },
         "1:1",
         {"gettimeofday 0:-9", "gmtime_r 0:-9", "mktime 0:-1"}},
        {__LINE__,
         Nothing,
         [](Subject& /*s*/) {
             long milliseconds = -9;
             std::tm fields = {};
             const int answer = Novu::GetTime(milliseconds, fields);
             return Text(answer != 0, milliseconds < 0 ? milliseconds : 1);
         },
         "1:1",
         {"gettimeofday 0:-9", "gmtime_r 0:-9"}},
        {__LINE__,
         Nothing,
         [](Subject& /*s*/) { return Text(Novu::GetCurLocalTime() != 0); },
         "1",
         {"gettimeofday 0"}},
        {__LINE__,
         Nothing,
         [](Subject& /*s*/) { return Text(Novu::GetCurTime() != 0); },
         "1",
         {"gettimeofday 0", "gmtime_r 0", "mktime 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(Novu::GetCurLocalTime(s.time)); },
         "1",
         {"gettimeofday 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(Novu::GetCurTime(s.time)); },
         "1",
         {"gettimeofday 0", "gmtime_r 0", "mktime 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(Novu::GetCurTime(s.record)); },
         "1",
         {"gettimeofday 0", "gmtime_r 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(Novu::GetCurLocalTime(s.record)); },
         "1",
         {"gettimeofday 0", "gmtime_r 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(Novu::SetCurTime(s.record)); },
         "1",
         {"mktime 0", "localtime_r 0", "mktime 0", "settimeofday 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(Novu::SetCurLocalTime(s.record)); },
         "1",
         {"mktime 0", "localtime_r 0", "mktime 0", "settimeofday 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(Novu::SetCurTime(s.time)); },
         "1",
         {"localtime_r 0", "mktime 0", "settimeofday 0"}},
        {__LINE__,
         Nothing,
         [](Subject& s) { return Text(Novu::SetCurLocalTime(s.time)); },
         "1",
         {"settimeofday 0"}},
        {__LINE__,
         Nothing,
         [](Subject& /*s*/) { return Text(Novu::timer_us() != 0); },
         "1",
         {"gettimeofday 0"}},
        {__LINE__,
         Nothing,
         [](Subject& /*s*/) { return Text(Novu::timer_ms() != 0); },
         "1",
         {"gettimeofday 0"}},
        {__LINE__,
         Nothing,
         [](Subject& /*s*/) { return Text(Novu::timer_ns() != 0); },
         "1",
         {"gettimeofday 0"}},
    });
}

// Guid

TEST_F(SystemFaultsTest, GuidPassesTheExceptionOfTheRandomSource) {
    std::vector<std::string> made;
    {
        Guid guid;
        const Calls calls(0, 0);
        EXPECT_TRUE(guid.Generate());
        made = calls.Names();
    }
    EXPECT_FALSE(made.empty());
    for (std::size_t n = 1; n <= made.size(); ++n) {
        for (const int error : {EIO, ENOSYS, EMFILE}) {
            Guid guid;
            bool threw = false;
            try {
                const Calls calls(n, error);
                guid.Generate();
            } catch (const std::runtime_error&) {
                threw = true;
            }
            EXPECT_TRUE(threw) << made[n - 1];
            EXPECT_TRUE(guid.None()) << made[n - 1];
            EXPECT_TRUE(guid.Generate());
        }
    }
}

}  // namespace
