// The contract of Bases/Shm.h.
//
// Most tests script the system: while a Script lives, shmget, shmat, shmdt and
// shmctl give its answers and note their calls, as
//
//     shmget KEY SIZE FLAGS    shmat ID ADDRESS FLAGS    shmdt ADDRESS
//     shmctl ID COMMAND
//
// with the flags in octal and an address as "null", "all ones", "memory" (what
// the script maps) or "?". The tests of ShmSystemTest make real segments.

#include "Bases/Shm.h"

#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/AsUser.h"
#include "tests/support/NextSymbol.h"
#include "tests/support/VirtualSlots.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Calls = std::vector<std::string>;

void* const kAllOnes = reinterpret_cast<void*>(-1);

// What the system answers, with the errno that goes with it (0: it leaves errno
// alone).
struct Answers {
    int identifier = 7;  // Of shmget.
    int getError = 0;
    void* address = nullptr;  // Of shmat.
    int attachError = 0;
    int detached = 0;  // Of shmdt.
    int detachError = 0;
    int removed = 0;  // Of shmctl.
    int removeError = 0;
};

const int kGuard = 8;  // Bytes on either side of a script's memory.

class Script;
Script* script = nullptr;

class Script {
public:
    explicit Script(const Answers& given = Answers(), std::size_t size = 0)
        : answers(given), memory(size + std::size_t{2} * kGuard, 0xA5) {
        script = this;
    }
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;
    ~Script() { script = nullptr; }

    // The address of the memory, for Answers::address.
    void* Memory() { return memory.data() + kGuard; }

    std::string Text(const void* address) {
        if (address == nullptr) {
            return "null";
        }
        if (address == kAllOnes) {
            return "all ones";
        }
        return address == Memory() ? "memory" : "?";
    }

    int Note(const std::string& call, int answer, int error) {
        calls.push_back(call);
        if (error != 0) {
            errno = error;
        }
        return answer;
    }

    // The calls since the last time.
    Calls Take() {
        Calls taken;
        taken.swap(calls);
        return taken;
    }

    Answers answers;
    Bytes memory;
    Bytes atDetach;  // The memory when it was last detached.
    Calls calls;
};

std::string GetCall(key_t key, unsigned long size, int flags) {
    std::array<char, 80> text{};
    std::snprintf(text.data(), text.size(), "shmget %d %lu %#o", key, size,
                  static_cast<unsigned int>(flags));
    return text.data();
}

std::string AttachCall(int identifier, const char* address, int flags) {
    std::array<char, 80> text{};
    std::snprintf(text.data(), text.size(), "shmat %d %s %#o", identifier,
                  address, static_cast<unsigned int>(flags));
    return text.data();
}

std::string ControlCall(int identifier, int command, const void* record) {
    std::array<char, 80> text{};
    std::snprintf(text.data(), text.size(), "shmctl %d %s%s", identifier,
                  command == IPC_RMID ? "IPC_RMID" : "other",
                  record == nullptr ? "" : " with a record");
    return text.data();
}

}  // namespace

extern "C" {

int shmget(key_t key, size_t size, int flags) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(key_t, size_t, int)>("shmget");
    if (script == nullptr) {
        return next(key, size, flags);
    }
    return script->Note(GetCall(key, size, flags), script->answers.identifier,
                        script->answers.getError);
}

void* shmat(int identifier, const void* address, int flags) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<void*(int, const void*, int)>("shmat");
    if (script == nullptr) {
        return next(identifier, address, flags);
    }
    script->Note(AttachCall(identifier, script->Text(address).c_str(), flags),
                 0, script->answers.attachError);
    return script->answers.address;
}

int shmdt(const void* address) noexcept {
    static auto* const next = NovuTest::NextSymbol<int(const void*)>("shmdt");
    if (script == nullptr) {
        return next(address);
    }
    script->atDetach = script->memory;
    return script->Note("shmdt " + script->Text(address),
                        script->answers.detached, script->answers.detachError);
}

int shmctl(int identifier, int command, shmid_ds* record) noexcept {
    static auto* const next =
        NovuTest::NextSymbol<int(int, int, shmid_ds*)>("shmctl");
    if (script == nullptr) {
        return next(identifier, command, record);
    }
    return script->Note(ControlCall(identifier, command, record),
                        script->answers.removed, script->answers.removeError);
}

}  // extern "C"

namespace {

using Novu::Shm;
using NovuTest::AsUser;
using NovuTest::Outcome;

static_assert(
    std::is_same_v<decltype(&Shm::Create),
                   bool (Shm::*)(unsigned long, const char*, int, int)>);
static_assert(
    std::is_same_v<decltype(&Shm::Open), bool (Shm::*)(const char*, int)>);
static_assert(std::is_same_v<decltype(&Shm::IsOpened), bool (Shm::*)()>);
static_assert(std::is_same_v<decltype(&Shm::Map), unsigned char* (Shm::*)()>);
static_assert(
    std::is_same_v<decltype(&Shm::Unmap), bool (Shm::*)(unsigned char*)>);
static_assert(std::is_same_v<decltype(&Shm::Close), void (Shm::*)()>);
static_assert(std::is_default_constructible_v<Shm>);
static_assert(std::has_virtual_destructor_v<Shm>);
static_assert(!std::is_copy_constructible_v<Shm>);
static_assert(!std::is_copy_assignable_v<Shm>);

// What an object holds.
struct Fields {
    int shmId;
    int readOnly;

    bool operator==(const Fields&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Fields& fields) {
        return out << "shmId " << fields.shmId << ", readOnly "
                   << fields.readOnly;
    }
};

Fields FieldsOf(const Shm& shm) {
    static_assert(sizeof(Shm) == sizeof(void*) + sizeof(Fields));
    const void* const object = &shm;
    Fields fields{};
    std::memcpy(&fields, static_cast<const char*>(object) + sizeof(void*),
                sizeof fields);
    return fields;
}

// The key of a name, as the sum of its terms.
key_t KeyOf(const std::string& name) {
    std::uint32_t key = 0;
    std::uint32_t power = 1;
    for (std::size_t i = name.size(); i > 0; --i, power *= 33) {
        const int byte = static_cast<unsigned char>(name[i - 1]);
        key +=
            power * static_cast<std::uint32_t>(byte < 128 ? byte : byte - 256);
    }
    return static_cast<key_t>(key + power * 5381);
}

const key_t kKeyOfN = 5381 * 33 + 'n';

// Layout and lifetime

TEST(ShmTest, OnlyTheDestructorIsVirtual) {
    EXPECT_EQ(0, NovuTest::VirtualOperations<Shm>());
    struct Derived : Shm {
        explicit Derived(int& counted) : destroyed(counted) {}
        ~Derived() override { ++destroyed; }

        int& destroyed;
    };
    int destroyed = 0;
    std::unique_ptr<Shm>(new Derived(destroyed)).reset();
    EXPECT_EQ(1, destroyed);
}

TEST(ShmTest, ANewOneHoldsNoneAndAsksForNothing) {
    Script system;
    {
        Shm shm;
        EXPECT_EQ((Fields{0, 0}), FieldsOf(shm));
        EXPECT_FALSE(shm.IsOpened());
        EXPECT_EQ(nullptr, shm.Map());
        EXPECT_FALSE(shm.Unmap(nullptr));
        shm.Close();
        EXPECT_EQ((Fields{0, 0}), FieldsOf(shm));
    }
    EXPECT_EQ(Calls(), system.Take());
}

// Also through a base pointer, and for the -1 of a failure.
TEST(ShmTest, TheDestructorCloses) {
    for (const int identifier : {7, -1}) {
        Script system;
        system.answers.identifier = identifier;
        struct Derived : Shm {};
        std::unique_ptr<Shm> shm = std::make_unique<Derived>();
        EXPECT_TRUE(shm->Open("n", 1));
        system.Take();
        shm.reset();
        EXPECT_EQ(Calls{ControlCall(identifier, IPC_RMID, nullptr)},
                  system.Take());
    }
}

// Keys

// [shm-7]
TEST(ShmTest, TheKeyIsTheHashOfTheName) {
    const struct {
        int line;
        std::string name;
        key_t key;
    } rows[] = {
        {__LINE__, "", 5381},
        {__LINE__, "a", 177670},
        {__LINE__, "ab", 5863208},
        {__LINE__, "ba", 5863240},
        {__LINE__, "\x7f", 177700},
        // Two names, one key.
        {__LINE__, "aB", 5863176},
        {__LINE__, "b!", 5863176},
        // From 0x80 on, bytes are negative.
        {__LINE__, "\x80", 177445},
        {__LINE__, "\xff", 177572},
        {__LINE__, "\xc3\xa9", 5857809},
        // Cut to 32 bits, of either sign.
        {__LINE__, "shared memory", 807063893},
        {__LINE__, "/novu/segment", -594601378},
        {__LINE__, "aaaaaaaaaaaaa", -661257262},
        {__LINE__, std::string(1000, 'z'), -1246367339},
        {__LINE__, std::string(20, '\x80'), 1637453701},
        {__LINE__, "\xff\xff\xff\xff\xff\xff\xff\xff\x01", 1107047966},
        // The system's "private" is a key like any other here.
        {__LINE__, "aaalxxrtnh", IPC_PRIVATE},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        Script system;
        Shm creator;
        EXPECT_TRUE(creator.Create(1, row.name.c_str(), 0, 0));
        Shm opener;
        EXPECT_TRUE(opener.Open(row.name.c_str(), 0));
        EXPECT_EQ(
            (Calls{GetCall(row.key, 1, 03555), GetCall(row.key, 0, 01555)}),
            system.Take());
        EXPECT_EQ(row.key, KeyOf(row.name));
    }
}

TEST(ShmTest, TheNameEndsAtItsFirstZero) {
    Script system;
    Shm shm;
    EXPECT_TRUE(shm.Open("a\0b", 0));
    EXPECT_EQ(Calls{GetCall(177670, 0, 01555)}, system.Take());
}

// Create and Open

enum class Attach { Memory, Null, AllOnes };

TEST(ShmTest, CreateTakesItsSteps) {
    const Attach memory = Attach::Memory;
    const int max = INT_MAX;
    const int min = INT_MIN;
    const struct {
        int line;
        int forReading;
        int zeroFill;
        int identifier;
        Attach attach;
        int flags;
        bool result;
        int readOnly;  // After it.
        bool attaches;
        bool clears;
    } rows[] = {
        // reading, fill, identifier, attach, flags, result, readOnly, ...
        {__LINE__, 0, 0, 7, memory, 03555, true, 0, false, false},
        {__LINE__, 0, 1, 7, memory, 03555, true, 0, true, true},
        {__LINE__, 0, -1, 7, memory, 03555, true, 0, true, true},
        {__LINE__, 0, 256, 7, memory, 03555, true, 0, true, true},
        {__LINE__, 0, min, 7, memory, 03555, true, 0, true, true},
        {__LINE__, 0, 1, max, memory, 03555, true, 0, true, true},
        // A segment that is only to be read is not cleared.
        {__LINE__, 1, 0, 7, memory, 03666, true, 1, false, false},
        {__LINE__, 1, 1, 7, memory, 03666, true, 1, false, false},
        {__LINE__, -1, 1, 7, memory, 03666, true, -1, false, false},
        {__LINE__, 256, 1, 7, memory, 03666, true, 256, false, false},
        {__LINE__, min, 1, 7, memory, 03666, true, min, false, false},
        // What cannot be attached is neither written nor detached.
        {__LINE__, 0, 1, 7, Attach::Null, 03555, true, 0, true, false},
        {__LINE__, 0, 1, 7, Attach::AllOnes, 03555, true, 0, true, false},
        // The identifier 0 is a success, and taken for none.
        {__LINE__, 0, 1, 0, memory, 03555, true, 0, false, false},
        {__LINE__, 5, 1, 0, memory, 03666, true, 5, false, false},
        // Failures, which keep the identifier and do not store forReading.
        {__LINE__, 0, 1, -1, memory, 03555, false, 0, false, false},
        {__LINE__, 5, 1, -1, memory, 03666, false, 0, false, false},
        {__LINE__, 5, 0, min, memory, 03666, false, 0, false, false},
    };
    const std::size_t size = 100;
    for (const auto& row : rows) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        Script system({}, size);
        system.answers.identifier = row.identifier;
        if (row.attach == Attach::Memory) {
            system.answers.address = system.Memory();
        } else if (row.attach == Attach::AllOnes) {
            system.answers.address = kAllOnes;
        }
        const Bytes untouched = system.memory;
        Bytes cleared = untouched;
        std::fill(cleared.begin() + kGuard, cleared.end() - kGuard, 0);

        Shm shm;
        EXPECT_EQ(row.result,
                  shm.Create(size, "n", row.forReading, row.zeroFill));
        Calls calls{GetCall(kKeyOfN, size, row.flags)};
        if (row.attaches) {
            calls.push_back(AttachCall(row.identifier, "null", 0));
        }
        if (row.clears) {
            calls.emplace_back("shmdt memory");
        }
        EXPECT_EQ(calls, system.Take());
        EXPECT_EQ(row.clears ? cleared : Bytes(), system.atDetach);
        EXPECT_EQ(row.clears ? cleared : untouched, system.memory);
        EXPECT_EQ((Fields{row.identifier, row.readOnly}), FieldsOf(shm));
        EXPECT_EQ(row.identifier != 0, shm.IsOpened());
    }
}

TEST(ShmTest, CreatePassesTheSizeOn) {
    for (const unsigned long size :
         {0UL, 1UL, 4097UL, 0x80000000UL, 0x100000001UL, ULONG_MAX}) {
        Script system;
        Shm shm;
        EXPECT_TRUE(shm.Create(size, "n", 1, 1));
        EXPECT_EQ(Calls{GetCall(kKeyOfN, size, 03666)}, system.Take());
    }
}

TEST(ShmTest, CreateClearsExactlyTheSize) {
    for (const std::size_t size : {0U, 1U, 2U, 4095U, 4096U, 4097U, 100000U}) {
        Script system({}, size);
        system.answers.address = system.Memory();
        Bytes cleared = system.memory;
        std::fill(cleared.begin() + kGuard, cleared.end() - kGuard, 0);
        Shm shm;
        EXPECT_TRUE(shm.Create(size, "n", 0, 1));
        EXPECT_TRUE(cleared == system.memory) << size;
        EXPECT_EQ("shmdt memory", system.Take().back());
    }
}

TEST(ShmTest, CreateTakesNoNoticeOfAFailingDetach) {
    Script system({}, 1);
    system.answers.address = system.Memory();
    system.answers.detached = -1;
    Shm shm;
    EXPECT_TRUE(shm.Create(1, "n", 0, 1));
    EXPECT_EQ((Fields{7, 0}), FieldsOf(shm));
}

// [shm-2]
// [shm-5]
TEST(ShmTest, OpenTakesItsSteps) {
    const struct {
        int line;
        int forReading;
        int identifier;
        int flags;
        bool result;
        int readOnly;  // After it.
    } rows[] = {
        {__LINE__, 0, 7, 01555, true, 0},
        {__LINE__, 1, 7, 01666, true, 1},
        {__LINE__, -1, 7, 01666, true, -1},
        {__LINE__, 256, 7, 01666, true, 256},
        {__LINE__, INT_MIN, INT_MAX, 01666, true, INT_MIN},
        // A failure is stored and called a success.
        {__LINE__, 0, -1, 01555, true, 0},
        {__LINE__, 5, -1, 01666, true, 5},
        // Only the identifier 0 is none; forReading is not stored then.
        {__LINE__, 0, 0, 01555, false, 0},
        {__LINE__, 5, 0, 01666, false, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        Script system;
        system.answers.identifier = row.identifier;
        Shm shm;
        EXPECT_EQ(row.result, shm.Open("n", row.forReading));
        EXPECT_EQ(Calls{GetCall(kKeyOfN, 0, row.flags)}, system.Take());
        EXPECT_EQ((Fields{row.identifier, row.readOnly}), FieldsOf(shm));
        EXPECT_EQ(row.identifier != 0, shm.IsOpened());
    }
}

// [shm-3]
TEST(ShmTest, TheIdentifierZeroIsTakenForNone) {
    Script system({}, 8);
    system.answers.identifier = 0;
    system.answers.address = system.Memory();
    {
        Shm shm;
        EXPECT_TRUE(shm.Create(8, "n", 5, 1));
        EXPECT_FALSE(shm.IsOpened());
        EXPECT_EQ(nullptr, shm.Map());
        EXPECT_EQ((Fields{0, 5}), FieldsOf(shm));
        EXPECT_FALSE(shm.Open("n", 0));  // Nothing held: it asks again.
        EXPECT_EQ((Fields{0, 5}), FieldsOf(shm));
        EXPECT_FALSE(shm.IsOpened());
        EXPECT_EQ(nullptr, shm.Map());
        EXPECT_TRUE(shm.Create(8, "n", 0, 1));
        EXPECT_EQ((Fields{0, 0}), FieldsOf(shm));
        EXPECT_TRUE(shm.Create(8, "n", 1, 1));
        shm.Close();
        EXPECT_EQ((Fields{0, 0}), FieldsOf(shm));
        EXPECT_TRUE(shm.Create(8, "n", 1, 1));
    }
    // Nothing is mapped, and nothing removed.
    EXPECT_EQ((Calls{GetCall(kKeyOfN, 8, 03666), GetCall(kKeyOfN, 0, 01555),
                     GetCall(kKeyOfN, 8, 03555), GetCall(kKeyOfN, 8, 03666),
                     GetCall(kKeyOfN, 8, 03666)}),
              system.Take());
}

// [shm-4]
TEST(ShmTest, AnObjectThatHoldsAnIdentifierRefusesAnother) {
    for (const int identifier : {7, -1}) {
        SCOPED_TRACE(identifier);
        Script system;
        system.answers.identifier = identifier;
        for (const bool created : {true, false}) {
            Shm shm;
            EXPECT_TRUE(created ? shm.Create(8, "n", 5, 0) == (identifier > 0)
                                : shm.Open("n", 5));
            const Fields before = FieldsOf(shm);
            EXPECT_TRUE(shm.IsOpened());
            EXPECT_EQ(identifier, before.shmId);
            system.Take();
            system.answers.identifier = 9;
            EXPECT_FALSE(shm.Create(8, "m", 0, 1));
            EXPECT_FALSE(shm.Open("m", 0));
            EXPECT_EQ(before, FieldsOf(shm));
            EXPECT_EQ(Calls(), system.Take());

            shm.Close();
            EXPECT_EQ(Calls{ControlCall(identifier, IPC_RMID, nullptr)},
                      system.Take());
            EXPECT_TRUE(shm.Create(8, "n", 0, 0));
            EXPECT_EQ((Fields{9, 0}), FieldsOf(shm));
            system.answers.identifier = identifier;
        }
    }
}

// Map and Unmap

// [shm-6]
TEST(ShmTest, MapAnswersWhatTheSystemAnswers) {
    const struct {
        int line;
        int forReading;
        int identifier;
        int flags;
    } rows[] = {
        {__LINE__, 0, 7, 0},
        {__LINE__, 1, 7, SHM_RDONLY},
        {__LINE__, -1, 7, SHM_RDONLY},
        {__LINE__, 256, 7, SHM_RDONLY},
        {__LINE__, INT_MIN, 7, SHM_RDONLY},
        {__LINE__, 0, INT_MAX, 0},
        // After a failure, too.
        {__LINE__, 0, -1, 0},
        {__LINE__, 1, -1, SHM_RDONLY},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        Script system({}, 8);
        system.answers.identifier = row.identifier;
        const Bytes untouched = system.memory;
        Shm shm;
        EXPECT_TRUE(shm.Open("n", row.forReading));
        system.Take();
        for (void* const address :
             {system.Memory(), kAllOnes, static_cast<void*>(nullptr)}) {
            system.answers.address = address;
            EXPECT_EQ(address, shm.Map());
            EXPECT_EQ(Calls{AttachCall(row.identifier, "null", row.flags)},
                      system.Take());
            EXPECT_EQ((Fields{row.identifier, row.forReading}), FieldsOf(shm));
        }
        EXPECT_EQ(untouched, system.memory);
    }
}

TEST(ShmTest, UnmapIsTrueWhenTheSystemAnswersZero) {
    Script system({}, 8);
    Shm empty;
    Shm holding;
    EXPECT_TRUE(holding.Open("n", 1));
    system.Take();
    auto* const memory = static_cast<unsigned char*>(system.Memory());
    for (Shm* const shm : {&empty, &holding}) {
        const Fields before = FieldsOf(*shm);
        for (const int detached : {0, -1, 1}) {
            system.answers.detached = detached;
            EXPECT_EQ(detached == 0, shm->Unmap(memory));
            EXPECT_EQ(Calls{"shmdt memory"}, system.Take());
        }
        EXPECT_FALSE(shm->Unmap(nullptr));
        EXPECT_EQ(Calls(), system.Take());
        EXPECT_FALSE(shm->Unmap(static_cast<unsigned char*>(kAllOnes)));
        EXPECT_EQ(Calls{"shmdt all ones"}, system.Take());
        EXPECT_EQ(before, FieldsOf(*shm));
    }
}

// Close

TEST(ShmTest, CloseRemovesOnceWhateverTheSystemAnswers) {
    for (const int identifier : {7, -1, INT_MAX}) {
        for (const int removed : {0, -1}) {
            Script system;
            system.answers.identifier = identifier;
            system.answers.removed = removed;
            Shm shm;
            EXPECT_TRUE(shm.Open("n", 5));
            system.Take();
            shm.Close();
            EXPECT_EQ((Fields{0, 0}), FieldsOf(shm));
            EXPECT_FALSE(shm.IsOpened());
            EXPECT_EQ(nullptr, shm.Map());
            shm.Close();
            EXPECT_EQ(Calls{ControlCall(identifier, IPC_RMID, nullptr)},
                      system.Take());
        }
    }
}

TEST(ShmTest, CloseForgetsThatItWasForReading) {
    Script system;
    Shm shm;
    EXPECT_TRUE(shm.Create(8, "n", 1, 0));
    shm.Close();
    system.answers.identifier = -1;
    EXPECT_FALSE(shm.Create(8, "n", 1, 0));  // Which stores nothing.
    system.Take();
    shm.Map();
    EXPECT_EQ(Calls{AttachCall(-1, "null", 0)}, system.Take());
}

// errno

TEST(ShmTest, ErrnoIsTheSystems) {
    const int before = 4321;
    const auto after = [](auto operation) {
        errno = before;
        operation();
        return errno;
    };
    for (const bool fails : {false, true}) {
        SCOPED_TRACE(fails);
        Script system({}, 8);
        auto* const memory = static_cast<unsigned char*>(system.Memory());
        system.answers.address = memory;
        if (fails) {
            system.answers = {-1, EEXIST, kAllOnes, EACCES,
                              -1, EINVAL, -1,       EPERM};
        }
        const auto orBefore = [&](int error) { return fails ? error : before; };
        auto shm = std::make_unique<Shm>();
        const auto create = [&] { shm->Create(8, "n", 0, 1); };
        const auto open = [&] { shm->Open("n", 0); };
        const auto close = [&] { shm->Close(); };
        EXPECT_EQ(orBefore(EEXIST), after(create));
        EXPECT_EQ(before, after(create));  // Refused.
        EXPECT_EQ(before, after(open));
        EXPECT_EQ(before, after([&] { shm->IsOpened(); }));
        EXPECT_EQ(orBefore(EACCES), after([&] { shm->Map(); }));
        EXPECT_EQ(before, after([&] { shm->Unmap(nullptr); }));
        EXPECT_EQ(orBefore(EINVAL), after([&] { shm->Unmap(memory); }));
        EXPECT_EQ(orBefore(EPERM), after(close));
        EXPECT_EQ(before, after(close));
        EXPECT_EQ(orBefore(EEXIST), after(open));
        EXPECT_EQ(orBefore(EPERM), after([&] { shm.reset(); }));

        // The clearing's steps.
        system.answers.identifier = 7;
        system.answers.getError = 0;
        shm = std::make_unique<Shm>();
        EXPECT_EQ(orBefore(EACCES), after(create));
        close();
        system.answers.address = memory;
        system.answers.attachError = 0;
        EXPECT_EQ(orBefore(EINVAL), after(create));
    }
}

// Against a model

// The operations in random order, with random names and random answers.
TEST(ShmTest, AgreesWithAModel) {
    const unsigned int seed = 44;
    std::mt19937 random(seed);
    const auto below = [&](unsigned int limit) {
        return std::uniform_int_distribution<unsigned int>(0,
                                                           limit - 1)(random);
    };
    const int identifiers[] = {7, 9, 0, -1};
    const int readings[] = {0, 0, 1, -1, 256};
    Script system({}, 16);
    Shm shm;
    Fields model{0, 0};
    for (int step = 0; step < 100000; ++step) {
        const unsigned int length = below(40);
        // Of its exact size, so that reading past it is seen.
        const auto name = std::make_unique<char[]>(length + 1);
        std::generate_n(name.get(), length, [&] {
            return static_cast<char>(
                static_cast<unsigned char>(below(255) + 1));
        });
        const key_t key = KeyOf(std::string(name.get(), length));
        const unsigned long size = below(17);
        const int reading = readings[below(5)];
        const int zeroFill = static_cast<int>(below(2));
        void* const addresses[] = {system.Memory(), kAllOnes, nullptr};
        void* const address = addresses[below(3)];
        system.answers.identifier = identifiers[below(4)];
        system.answers.address = address;
        const int mode = reading != 0 ? 0666 : 0555;

        Calls calls;
        bool agrees = true;
        const unsigned int operation = below(5);
        if (operation == 0) {
            bool result = false;
            if (model.shmId == 0) {
                calls.push_back(GetCall(key, size, 03000 + mode));
                model.shmId = system.answers.identifier;
                result = model.shmId >= 0;
                if (result) {
                    model.readOnly = reading;
                }
                if (model.shmId > 0 && reading == 0 && zeroFill == 1) {
                    calls.push_back(AttachCall(model.shmId, "null", 0));
                    if (address == system.Memory()) {
                        calls.emplace_back("shmdt memory");
                    }
                }
            }
            agrees = shm.Create(size, name.get(), reading, zeroFill) == result;
        } else if (operation == 1) {
            bool result = false;
            if (model.shmId == 0) {
                calls.push_back(GetCall(key, 0, 01000 + mode));
                model.shmId = system.answers.identifier;
                result = model.shmId != 0;
                if (result) {
                    model.readOnly = reading;
                }
            }
            agrees = shm.Open(name.get(), reading) == result;
        } else if (operation == 2) {
            void* result = nullptr;
            if (model.shmId != 0) {
                calls.push_back(AttachCall(model.shmId, "null",
                                           model.readOnly != 0 ? 010000 : 0));
                result = address;
            }
            agrees = shm.Map() == result;
        } else if (operation == 3) {
            if (address != nullptr) {
                calls.push_back("shmdt " + system.Text(address));
            }
            agrees = shm.Unmap(static_cast<unsigned char*>(address)) ==
                     (address != nullptr);
        } else {
            if (model.shmId != 0) {
                calls.push_back(ControlCall(model.shmId, IPC_RMID, nullptr));
            }
            model = {0, 0};
            shm.Close();
        }
        ASSERT_TRUE(agrees && shm.IsOpened() == (model.shmId != 0))
            << "seed " << seed << ", step " << step << ", operation "
            << operation;
        ASSERT_EQ(model, FieldsOf(shm)) << "seed " << seed << ", step " << step;
        ASSERT_EQ(calls, system.Take()) << "seed " << seed << ", step " << step;
    }
}

// Real segments

// A name of its own; a segment of that name is removed in the end.
class Segment {
public:
    Segment() : name(NextName()) {}
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;
    ~Segment() {
        const int identifier = Identifier();
        if (identifier >= 0) {
            ::shmctl(identifier, IPC_RMID, nullptr);
        }
    }

    const char* Name() const { return name.c_str(); }

    // Of the segment that the name leads to, -1 where it leads to none.
    int Identifier() const { return ::shmget(KeyOf(name), 0, 0); }

    bool Exists() const { return Identifier() != -1; }

    // What the system knows of it.
    shmid_ds Status() const {
        shmid_ds status{};
        EXPECT_EQ(0, ::shmctl(Identifier(), IPC_STAT, &status));
        return status;
    }

    // Fills it, around any Shm: the owner of mode 0666 may.
    void Write(const Bytes& bytes) const {
        void* const address = ::shmat(Identifier(), nullptr, 0);
        ASSERT_NE(kAllOnes, address);
        std::memcpy(address, bytes.data(), bytes.size());
        EXPECT_EQ(0, ::shmdt(address));
    }

private:
    static std::string NextName() {
        static int counter = 0;
        std::string next = "novu-shm-test-";
        next += std::to_string(::getpid());
        next += "-";
        next += std::to_string(counter++);
        return next;
    }

    std::string name;
};

// Whether this process may attach a segment of mode 0555 for writing, as one
// with privilege may.
bool MayWriteAnyway() {
    const int identifier = ::shmget(IPC_PRIVATE, 1, 0555);
    void* const address = ::shmat(identifier, nullptr, 0);
    EXPECT_EQ(0, ::shmctl(identifier, IPC_RMID, nullptr));
    return address != kAllOnes && ::shmdt(address) == 0;
}

// Whether the memory at `address` can be written, which the system tells
// without ending the process.
bool IsWritable(unsigned char* address) {
    int ends[2] = {};
    EXPECT_EQ(0, ::pipe(ends));
    EXPECT_EQ(1, ::write(ends[1], address, 1));
    const bool written = ::read(ends[0], address, 1) == 1;
    ::close(ends[0]);
    ::close(ends[1]);
    return written;
}

Bytes BytesAt(const unsigned char* address, std::size_t size) {
    return {address, address + size};
}

// Runs `body` in a child with the same rights; its result, -1 where it died.
template <typename Body>
int ResultOfChild(Body body) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(body());
    }
    int status = 0;
    EXPECT_EQ(child, ::waitpid(child, &status, 0));
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The system's first segment has the identifier 0, which an Shm takes for none,
// so no test may get that one. This segment takes its place; it goes with the
// process, since it is removed while it is attached.
class ShmSystemTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        const int identifier = ::shmget(IPC_PRIVATE, 1, 0600);
        ASSERT_NE(-1, identifier);
        ASSERT_NE(kAllOnes, ::shmat(identifier, nullptr, 0));
        ASSERT_EQ(0, ::shmctl(identifier, IPC_RMID, nullptr));
    }
};

TEST_F(ShmSystemTest, ACreatedSegmentIsMappedWithZerosWhereThatIsAllowed) {
    const Segment segment;
    Shm shm;
    EXPECT_TRUE(shm.Create(4096, segment.Name(), 0, 1));
    EXPECT_TRUE(shm.IsOpened());
    EXPECT_EQ(segment.Identifier(), FieldsOf(shm).shmId);
    unsigned char* const first = shm.Map();
    if (!MayWriteAnyway()) {
        EXPECT_EQ(kAllOnes, first);
        return;
    }
    ASSERT_NE(kAllOnes, first);
    EXPECT_EQ(Bytes(4096, 0), BytesAt(first, 4096));
    EXPECT_TRUE(IsWritable(first));

    // Written by one process, it is read and written by another.
    first[4095] = 42;
    const auto body = [&] {
        // Not destroyed, or it would remove the segment.
        Shm& other = *new Shm;
        other.Open(segment.Name(), 0);
        unsigned char* const address = other.Map();
        address[0] = 43;
        return int{address[4095]};
    };
    EXPECT_EQ(42, ResultOfChild(body));
    EXPECT_TRUE(segment.Exists());
    EXPECT_EQ(43, first[0]);
    EXPECT_TRUE(shm.Unmap(first));
}

// [shm-2]
TEST_F(ShmSystemTest, ModesAndSizesAreAsAskedFor) {
    for (const int forReading : {0, 1}) {
        const Segment segment;
        Shm shm;
        EXPECT_TRUE(shm.Create(5000, segment.Name(), forReading, 1));
        const shmid_ds status = segment.Status();
        EXPECT_EQ(forReading != 0 ? 0666U : 0555U,
                  status.shm_perm.mode & 0777U);
        EXPECT_EQ(5000U, status.shm_segsz);
        EXPECT_EQ(0U, status.shm_nattch);  // The clearing's is gone.
    }
}

// [shm-2]
TEST_F(ShmSystemTest, AnOwnerWithoutPrivilegeCannotMapForWriting) {
    const Segment segment;
    const auto body = [&] {
        Shm shm;
        EXPECT_TRUE(shm.Create(4096, segment.Name(), 0, 1));
        EXPECT_TRUE(shm.IsOpened());
        errno = 0;
        EXPECT_EQ(kAllOnes, shm.Map());
        EXPECT_EQ(EACCES, errno);
        // The segment is there all the same.
        void* const address =
            ::shmat(segment.Identifier(), nullptr, SHM_RDONLY);
        ASSERT_NE(kAllOnes, address);
        EXPECT_EQ(Bytes(4096, 0),
                  BytesAt(static_cast<unsigned char*>(address), 4096));
        EXPECT_EQ(0, ::shmdt(address));
        shm.Close();
        EXPECT_FALSE(segment.Exists());
    };
    EXPECT_EQ(Outcome::Held, AsUser(body));
}

// [shm-2]
TEST_F(ShmSystemTest, UsersWithoutPrivilegeMustAskForTheSame) {
    const Segment segment;
    const auto body = [&] {
        for (const auto& [created, opened] :
             {std::pair(0, 0), {0, 1}, {1, 0}, {1, 1}}) {
            Shm creator;
            EXPECT_TRUE(creator.Create(1, segment.Name(), created, 0));
            Shm opener;
            EXPECT_TRUE(opener.Open(segment.Name(), opened));
            EXPECT_EQ(created == opened ? segment.Identifier() : -1,
                      FieldsOf(opener).shmId);
        }
    };
    EXPECT_EQ(Outcome::Held, AsUser(body));
}

TEST_F(ShmSystemTest, ASegmentForReadingIsMappedForReadingOnly) {
    const Segment segment;
    Shm shm;
    EXPECT_TRUE(shm.Create(4096, segment.Name(), 1, 0));
    segment.Write(Bytes(4096, 0x5A));
    unsigned char* const first = shm.Map();
    unsigned char* const second = shm.Map();
    ASSERT_NE(kAllOnes, first);
    ASSERT_NE(kAllOnes, second);
    EXPECT_NE(first, second);
    EXPECT_EQ(Bytes(4096, 0x5A), BytesAt(first, 4096));
    EXPECT_EQ(Bytes(4096, 0x5A), BytesAt(second, 4096));
    EXPECT_FALSE(IsWritable(first));
    EXPECT_EQ(2U, segment.Status().shm_nattch);

    EXPECT_TRUE(shm.Unmap(first));
    EXPECT_EQ(1U, segment.Status().shm_nattch);
    errno = 0;
    EXPECT_FALSE(shm.Unmap(first));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_TRUE(shm.Unmap(second));
    EXPECT_EQ(0U, segment.Status().shm_nattch);
}

// [shm-4]
TEST_F(ShmSystemTest, ASecondCreateOfTheNameFails) {
    for (const int forReading : {0, 1}) {
        const Segment segment;
        Shm first;
        EXPECT_TRUE(first.Create(4096, segment.Name(), 1, 0));
        segment.Write(Bytes(4096, 0x5A));
        Shm second;
        errno = 0;
        EXPECT_FALSE(second.Create(4096, segment.Name(), forReading, 1));
        EXPECT_EQ(EEXIST, errno);
        EXPECT_TRUE(second.IsOpened());
        EXPECT_FALSE(second.Open(segment.Name(), 1));
        EXPECT_EQ(kAllOnes, second.Map());

        second.Close();  // Which removes nothing.
        EXPECT_FALSE(second.IsOpened());
        EXPECT_EQ(FieldsOf(first).shmId, segment.Identifier());
        EXPECT_TRUE(second.Open(segment.Name(), 1));
        unsigned char* const address = second.Map();
        ASSERT_NE(kAllOnes, address);
        EXPECT_EQ(Bytes(4096, 0x5A), BytesAt(address, 4096));
        EXPECT_TRUE(second.Unmap(address));
    }
}

// [shm-5]
// [shm-6]
TEST_F(ShmSystemTest, OpeningWhatIsNotThereIsTrueAndMappingItFails) {
    for (const int forReading : {0, 1}) {
        const Segment segment;
        Shm shm;
        EXPECT_TRUE(shm.Open(segment.Name(), forReading));
        EXPECT_TRUE(shm.IsOpened());
        EXPECT_FALSE(segment.Exists());
        errno = 0;
        EXPECT_EQ(kAllOnes, shm.Map());
        EXPECT_EQ(EINVAL, errno);
        shm.Close();
        EXPECT_FALSE(shm.IsOpened());
        EXPECT_EQ(nullptr, shm.Map());
        EXPECT_TRUE(shm.Create(1, segment.Name(), forReading, 0));
        EXPECT_TRUE(segment.Exists());
    }
}

TEST_F(ShmSystemTest, SizesThatTheSystemRefusesFail) {
    const Segment segment;
    Shm shm;
    for (const unsigned long size : {0UL, ULONG_MAX}) {
        for (const int forReading : {0, 1}) {
            errno = 0;
            EXPECT_FALSE(shm.Create(size, segment.Name(), forReading, 1));
            EXPECT_EQ(EINVAL, errno);
            EXPECT_EQ((Fields{-1, 0}), FieldsOf(shm));
            EXPECT_EQ(kAllOnes, shm.Map());
            EXPECT_FALSE(segment.Exists());
            shm.Close();
        }
    }
    EXPECT_TRUE(shm.Create(1, segment.Name(), 0, 0));
}

// [shm-1]
TEST_F(ShmSystemTest, TheFirstCloseRemovesTheSegmentForEveryone) {
    const Segment segment;
    Shm creator;
    Shm user;
    EXPECT_TRUE(creator.Create(4096, segment.Name(), 1, 0));
    EXPECT_TRUE(user.Open(segment.Name(), 1));
    segment.Write(Bytes(4096, 0x5A));
    unsigned char* const kept = creator.Map();
    ASSERT_NE(kAllOnes, kept);

    user.Close();
    EXPECT_FALSE(user.IsOpened());
    EXPECT_FALSE(segment.Exists());
    EXPECT_EQ(Bytes(4096, 0x5A), BytesAt(kept, 4096));

    // The name now makes another one, which the first user's Close leaves.
    Shm next;
    EXPECT_TRUE(next.Create(4096, segment.Name(), 1, 0));
    unsigned char* const fresh = next.Map();
    ASSERT_NE(kAllOnes, fresh);
    EXPECT_EQ(Bytes(4096, 0), BytesAt(fresh, 4096));
    EXPECT_TRUE(creator.IsOpened());
    creator.Close();
    EXPECT_EQ(FieldsOf(next).shmId, segment.Identifier());
    EXPECT_EQ(Bytes(4096, 0x5A), BytesAt(kept, 4096));
    EXPECT_TRUE(creator.Unmap(kept));  // Also without an identifier.
    EXPECT_TRUE(next.Unmap(fresh));
}

// [shm-7]
TEST_F(ShmSystemTest, NamesOfOneKeyAreOneSegment) {
    const Segment segment;
    const std::string first = segment.Name() + std::string("aB");
    const std::string second = segment.Name() + std::string("b!");
    Shm shm;
    EXPECT_TRUE(shm.Create(4096, first.c_str(), 1, 0));
    Shm stranger;
    EXPECT_FALSE(stranger.Create(4096, second.c_str(), 1, 0));
    stranger.Close();
    EXPECT_TRUE(stranger.Open(second.c_str(), 1));
    EXPECT_EQ(FieldsOf(shm), FieldsOf(stranger));

    stranger.Close();
    EXPECT_EQ(kAllOnes, shm.Map()) << "it is gone";
}

// [shm-7]
TEST_F(ShmSystemTest, ASegmentOfTheKeyZeroIsItsMakersAlone) {
    const char* const name = "aaalxxrtnh";
    ASSERT_EQ(0, KeyOf(name));
    Shm shm;
    EXPECT_TRUE(shm.Create(4096, name, 1, 0));
    unsigned char* const address = shm.Map();
    ASSERT_NE(kAllOnes, address);
    Shm other;
    EXPECT_TRUE(other.Open(name, 1));
    EXPECT_EQ(kAllOnes, other.Map());
    Shm another;
    EXPECT_TRUE(another.Create(4096, name, 1, 0));
    EXPECT_NE(FieldsOf(shm).shmId, FieldsOf(another).shmId);
    EXPECT_TRUE(shm.Unmap(address));
}

TEST_F(ShmSystemTest, TheDestructorRemovesTheSegment) {
    const Segment segment;
    {
        Shm shm;
        EXPECT_TRUE(shm.Create(1, segment.Name(), 0, 0));
        EXPECT_TRUE(segment.Exists());
    }
    EXPECT_FALSE(segment.Exists());
}

// [shm-1]
TEST_F(ShmSystemTest, AnotherProcessFindsTheSegmentAndRemovesIt) {
    const Segment segment;
    Shm shm;
    EXPECT_TRUE(shm.Create(4096, segment.Name(), 1, 0));
    segment.Write(Bytes(4096, 0x5A));
    unsigned char* const kept = shm.Map();
    ASSERT_NE(kAllOnes, kept);
    const auto body = [&] {
        Shm other;
        other.Open(segment.Name(), 1);
        unsigned char* const address = other.Map();
        const int read = address[4095];
        other.Unmap(address);
        return read;
    };
    EXPECT_EQ(0x5A, ResultOfChild(body));
    EXPECT_FALSE(segment.Exists());
    EXPECT_TRUE(shm.IsOpened());
    EXPECT_EQ(Bytes(4096, 0x5A), BytesAt(kept, 4096));
    EXPECT_TRUE(shm.Unmap(kept));
}

// Another user reads it, too, but only its owner or root removes it.
TEST_F(ShmSystemTest, AnotherUserFindsTheSegment) {
    const Segment segment;
    Shm shm;
    EXPECT_TRUE(shm.Create(4096, segment.Name(), 1, 0));
    segment.Write(Bytes(4096, 0x5A));
    const auto body = [&] {
        Shm other;
        EXPECT_TRUE(other.Open(segment.Name(), 1));
        unsigned char* const address = other.Map();
        ASSERT_NE(kAllOnes, address);
        EXPECT_EQ(Bytes(4096, 0x5A), BytesAt(address, 4096));
        EXPECT_TRUE(other.Unmap(address));
        other.Close();
        EXPECT_FALSE(other.IsOpened());
    };
    EXPECT_EQ(Outcome::Held, AsUser(body));
    EXPECT_EQ(NovuTest::UserOfAsUser() != ::geteuid(), segment.Exists());
}

}  // namespace
