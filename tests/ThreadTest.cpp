// The contract of Bases/Thread.h but for forced stops, which are in
// ThreadForcedStopTest.cpp.
//
// While a System lives, it has the calls that its thread makes, one line each:
//
//     create    usleep 100    cancel    join    yield
//
// and answers them where the test says so; then there is no new thread, and the
// test calls its entry itself.
//
// On macOS the unlimited waits of StopThread and of a suspended thread miss
// what is set in the moment in which they begin ([sem-9]). So bodies look for a
// stop once in a millisecond and suspended threads are given time, and where
// the unlimited wait is not what is tested, Stop waits with a limit.

#include "Bases/Thread.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "Bases/Sem.h"
#include "tests/support/Allocation.h"
#include "tests/support/Concurrency.h"
#include "tests/support/NextSymbol.h"
#include "tests/support/ObjectBytes.h"
#include "tests/support/VirtualSlots.h"

namespace {

using Novu::NovuEvent;
using Novu::Thread;
using Novu::ThreadHandler;
using Log = std::vector<std::string>;

// What a new thread is given.
struct Record {
    NovuEvent* exit;
    NovuEvent* resume;
    Thread* thread;
};

class System;
thread_local System* current = nullptr;  // Of this thread.

class System {
public:
    System() { current = this; }
    System(const System&) = delete;
    System& operator=(const System&) = delete;
    ~System() { current = nullptr; }

    // What was called since the last time.
    Log Take() { return std::exchange(log, {}); }

    Log log;

    // What pthread_create answers, instead of making a thread; then joins and
    // cancels answer 0. It writes this thread's handle, also where it fails.
    std::optional<int> creates;
    std::optional<int> yields;
    int yieldError = 0;
    std::function<void()> onCreate = [] {};

    // Of the last pthread_create.
    const pthread_t* handle = nullptr;
    bool hasAttributes = false;
    void* (*entry)(void*) = nullptr;
    void* argument = nullptr;
};

}  // namespace

extern "C" {

int pthread_create(pthread_t* handle, const pthread_attr_t* attributes,
                   void* (*entry)(void*), void* argument) noexcept {
    static auto* const next = NovuTest::NextSymbol<int(
        pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>(__func__);
    System* const system = current;
    if (system == nullptr) {
        return next(handle, attributes, entry, argument);
    }
    system->log.emplace_back("create");
    system->handle = handle;
    system->hasAttributes = attributes != nullptr;
    system->entry = entry;
    system->argument = argument;
    system->onCreate();
    if (!system->creates) {
        return next(handle, attributes, entry, argument);
    }
    *handle = ::pthread_self();
    return *system->creates;
}

int pthread_join(pthread_t thread, void** result) {
    static auto* const next =
        NovuTest::NextSymbol<int(pthread_t, void**)>(__func__);
    if (current == nullptr) {
        return next(thread, result);
    }
    current->log.emplace_back(result == nullptr ? "join" : "join for a result");
    return current->creates ? 0 : next(thread, result);
}

int pthread_cancel(pthread_t thread) {
    static auto* const next = NovuTest::NextSymbol<int(pthread_t)>(__func__);
    if (current == nullptr) {
        return next(thread);
    }
    current->log.emplace_back("cancel");
    return current->creates ? 0 : next(thread);
}

int usleep(useconds_t microseconds) {
    static auto* const next = NovuTest::NextSymbol<int(useconds_t)>(__func__);
    if (current == nullptr) {
        return next(microseconds);
    }
    current->log.push_back("usleep " + std::to_string(microseconds));
    return 0;
}

int sched_yield() noexcept {
    static auto* const next = NovuTest::NextSymbol<int()>(__func__);
    if (current == nullptr || !current->yields) {
        return next();
    }
    current->log.emplace_back("yield");
    errno = current->yieldError;
    return *current->yields;
}

}  // extern "C"

namespace {

using NovuTest::AllocationLedger;
using NovuTest::Eventually;
using NovuTest::FailEachAllocation;
using NovuTest::FieldAt;
using NovuTest::kNoLimit;
using NovuTest::SleepFor;
using NovuTest::SlotOf;
using NovuTest::TimeOf;
using NovuTest::WithDeadline;
using std::chrono::milliseconds;

static_assert(std::is_default_constructible_v<Thread>);
static_assert(std::has_virtual_destructor_v<Thread>);
static_assert(!std::is_copy_constructible_v<Thread>);
static_assert(!std::is_copy_assignable_v<Thread>);
static_assert(std::is_same_v<decltype(&Thread::SetThreadHandler),
                             void (Thread::*)(ThreadHandler*)>);
static_assert(
    std::is_same_v<decltype(&Thread::StartThread), int (Thread::*)(int)>);
static_assert(std::is_same_v<decltype(&Thread::StopThread),
                             void (Thread::*)(unsigned int, int)>);
static_assert(
    std::is_same_v<decltype(&Thread::OnPreThreadStart), int (Thread::*)()>);
static_assert(
    std::is_same_v<decltype(&Thread::OnThreadEntry), int (Thread::*)()>);
static_assert(std::is_same_v<decltype(&Thread::IsThreadRunning),
                             int (Thread::*)() const>);
static_assert(std::is_same_v<decltype(&Thread::IsStopThread),
                             int (Thread::*)(unsigned int) const>);
static_assert(
    std::is_same_v<decltype(&Thread::StopThreadEvent), void (Thread::*)()>);
static_assert(
    std::is_same_v<decltype(&Thread::ResumeThread), int (Thread::*)()>);
static_assert(std::is_same_v<decltype(&Thread::SleepThread),
                             void (Thread::*)(unsigned int)>);
static_assert(
    std::is_same_v<decltype(&Thread::YieldThread), int (Thread::*)()>);
static_assert(std::is_same_v<decltype(&Thread::GetThreadPriority),
                             int (Thread::*)() const>);
static_assert(std::is_same_v<decltype(&Thread::SetThreadPriority),
                             void (Thread::*)(int)>);
static_assert(std::is_same_v<decltype(&Thread::GetHandle),
                             pthread_t* (Thread::*)() const>);
static_assert(std::is_same_v<decltype(&Thread::GetStopThreadEvent),
                             NovuEvent* (Thread::*)() const>);
static_assert(std::is_same_v<decltype(&Thread::GetThreadId),
                             unsigned long long (Thread::*)() const>);
static_assert(std::is_same_v<decltype(&Thread::operator==),
                             int (Thread::*)(const Thread&) const>);
static_assert(std::is_same_v<decltype(&Thread::operator!=),
                             int (Thread::*)(const Thread&) const>);
static_assert(std::is_abstract_v<ThreadHandler>);
static_assert(!std::has_virtual_destructor_v<ThreadHandler>);
static_assert(sizeof(ThreadHandler) == sizeof(void*));
static_assert(std::is_same_v<decltype(&ThreadHandler::OnPreThreadStart),
                             int (ThreadHandler::*)(Thread*)>);
static_assert(std::is_same_v<decltype(&ThreadHandler::OnThreadEntry),
                             int (ThreadHandler::*)(Thread*)>);

using ThreadTest = WithDeadline;
using ThreadHandlerTest = WithDeadline;

// For another thread to come to where it waits. On Linux, a machine that is too
// slow for that weakens a test and makes none fail.
void GiveTime() { SleepFor(milliseconds(50)); }

// What a Thread is, after its virtual table.
struct Fields {
    ThreadHandler* handler;
    pthread_t* handle;
    NovuEvent* stop;
    NovuEvent* exit;
    NovuEvent* resume;
    int reserved;
    int priority;
};

static_assert(sizeof(Thread) == sizeof(void*) + sizeof(Fields));

Fields FieldsOf(const Thread& thread) {
    return FieldAt<Fields>(&thread, sizeof(void*));
}

std::vector<NovuEvent*> EventsOf(const Thread& thread) {
    const Fields fields = FieldsOf(thread);
    return {fields.stop, fields.exit, fields.resume};
}

// Which of the three are opened: "stop exit resume".
std::string OpenedOf(const Thread& thread) {
    const Fields fields = FieldsOf(thread);
    std::string text;
    text += fields.stop->IsOpened() != 0 ? "stop " : "";
    text += fields.exit->IsOpened() != 0 ? "exit " : "";
    text += fields.resume->IsOpened() != 0 ? "resume " : "";
    return text;
}

const char* const kAllOpened = "stop exit resume ";

// Which of the three are set.
std::string SetOf(const Thread& thread) {
    const Fields fields = FieldsOf(thread);
    std::string text;
    text += fields.stop->Wait(0) != 0 ? "stop " : "";
    text += fields.exit->Wait(0) != 0 ? "exit " : "";
    text += fields.resume->Wait(0) != 0 ? "resume " : "";
    return text;
}

bool IsManual(const NovuEvent* event) {
    return FieldAt<int>(event, sizeof(int)) != 0;
}

// What the semaphore of an event keeps beside: 0, less 1 for every wait for an
// event that was not set.
int CountOf(NovuEvent* event) {
    int count = 1000000;
    EXPECT_EQ(1, event->GetSemaphore()->GetSemCounts(count));
    return count;
}

bool Ended(const Thread& thread) {
    return Eventually([&] { return FieldsOf(thread).exit->Wait(0) != 0; });
}

void Stop(Thread& thread) {
    while (thread.IsThreadRunning() != 0) {
        thread.Thread::StopThread(1000, 0);
    }
}

void UntilStopped(const Thread& thread) {
    while (thread.IsStopThread(0) == 0) {
        SleepFor(milliseconds(1));
    }
}

class Worker : public Thread {
public:
    explicit Worker(std::function<void(Worker&)> body = UntilStopped)
        : run(std::move(body)) {}
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker() override { Stop(*this); }

    int OnPreThreadStart() override { return prepare(); }

    int OnThreadEntry() override {
        run(*this);
        return 0;
    }

    std::function<int()> prepare = [] { return 1; };

private:
    std::function<void(Worker&)> run;
};

// Layout

TEST_F(ThreadTest, TheSlots) {
    // The destructor has two.
    EXPECT_EQ(2, SlotOf(&Thread::StopThread));
    EXPECT_EQ(3, SlotOf(&Thread::OnPreThreadStart));
    EXPECT_EQ(4, SlotOf(&Thread::OnThreadEntry));
    EXPECT_EQ(3, NovuTest::VirtualOperations<Thread>());
}

TEST_F(ThreadHandlerTest, TheSlots) {
    struct Next final : ThreadHandler {
        int OnPreThreadStart(Thread* /*thread*/) override { return 0; }
        int OnThreadEntry(Thread* /*thread*/) override { return 0; }
        virtual void Probe() {}
    };
    EXPECT_EQ(0, SlotOf(&ThreadHandler::OnPreThreadStart));
    EXPECT_EQ(1, SlotOf(&ThreadHandler::OnThreadEntry));
    EXPECT_EQ(2, SlotOf(&Next::Probe));
}

// Not running

TEST_F(ThreadTest, ANewOneIsNotRunning) {
    Thread thread;
    const Fields fields = FieldsOf(thread);
    EXPECT_EQ(nullptr, fields.handler);
    EXPECT_EQ(nullptr, fields.handle);
    for (NovuEvent* const event : EventsOf(thread)) {
        ASSERT_NE(nullptr, event);
        EXPECT_EQ(0, event->IsOpened());
        EXPECT_EQ(0, event->Wait(0));
        EXPECT_TRUE(IsManual(event));
    }
    EXPECT_NE(fields.stop, fields.exit);
    EXPECT_NE(fields.stop, fields.resume);
    EXPECT_NE(fields.exit, fields.resume);
    EXPECT_EQ(0, fields.reserved);
    EXPECT_EQ(15, fields.priority);
    EXPECT_EQ(0, thread.IsThreadRunning());
    EXPECT_EQ(nullptr, thread.GetHandle());
    EXPECT_EQ(fields.stop, thread.GetStopThreadEvent());
    EXPECT_EQ(0U, thread.GetThreadId());
}

TEST_F(ThreadTest, WhereNoneRunsNothingHappens) {
    System system;
    Worker worker;
    for (int round = 0; round < 2; ++round) {
        for (const unsigned int timeout : {0U, 1000000U, kNoLimit}) {
            EXPECT_EQ(1, worker.IsStopThread(timeout));
            for (const int force : {0, 1}) {
                worker.StopThread(timeout, force);
            }
        }
        worker.StopThreadEvent();
        EXPECT_EQ(0, worker.ResumeThread());
        EXPECT_EQ(Log(), system.Take());
        EXPECT_EQ("", OpenedOf(worker));
        EXPECT_EQ(0, worker.IsThreadRunning());
        if (round == 0) {
            EXPECT_EQ("", SetOf(worker));
            // Nor after one ran.
            EXPECT_EQ(1, worker.StartThread(0));
            Stop(worker);
            system.Take();
        }
    }
}

TEST_F(ThreadTest, WhatCannotBeMadeIsNotLeftBehind) {
    const AllocationLedger ledger;
    // Three events, each with a semaphore.
    EXPECT_EQ(6U, FailEachAllocation([] { const Thread thread; },
                                     [&] { EXPECT_EQ(0U, ledger.Blocks()); }));
    EXPECT_EQ(0U, ledger.Blocks());
}

TEST_F(ThreadTest, WithoutAHandlerItStartsAndDoesNothing) {
    Thread thread;
    EXPECT_EQ(1, thread.OnPreThreadStart());
    EXPECT_EQ(0, thread.OnThreadEntry());
    EXPECT_EQ(1, thread.StartThread(0));
    EXPECT_TRUE(Ended(thread));
    Stop(thread);
}

// [thread-9]
TEST_F(ThreadTest, ThePriorityIsKeptAndNotApplied) {
    sched_param before{};
    int policyBefore = -1;
    ::pthread_getschedparam(::pthread_self(), &policyBefore, &before);
    sched_param during{};
    int policy = -2;
    Worker worker([&](Worker& self) {
        UntilStopped(self);
        ::pthread_getschedparam(::pthread_self(), &policy, &during);
    });
    EXPECT_EQ(15, worker.GetThreadPriority());
    for (const int priority : {0, 99, INT_MIN, INT_MAX, -1}) {
        worker.SetThreadPriority(priority);
        EXPECT_EQ(priority, worker.GetThreadPriority());
        EXPECT_EQ(priority, FieldsOf(worker).priority);
    }
    EXPECT_EQ(1, worker.StartThread(0));
    EXPECT_EQ(-1, worker.GetThreadPriority());
    worker.SetThreadPriority(1);
    EXPECT_EQ(1, worker.GetThreadPriority());
    Stop(worker);
    EXPECT_EQ(1, worker.GetThreadPriority());
    EXPECT_EQ(policyBefore, policy);
    EXPECT_EQ(before.sched_priority, during.sched_priority);
}

// [thread-8]
TEST_F(ThreadTest, SleepsAreCountedIn32Bits) {
    const struct {
        int line;
        unsigned int milliseconds;
        const char* call;
    } rows[] = {
        {__LINE__, 0, "usleep 0"},
        {__LINE__, 1, "usleep 1000"},
        {__LINE__, 4294967, "usleep 4294967000"},
        {__LINE__, 4294968, "usleep 704"},
        {__LINE__, 0x80000000, "usleep 0"},
        {__LINE__, 0xFFFFFFFF, "usleep 4294966296"},
    };
    Thread thread;
    for (const auto& row : rows) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        System system;
        thread.SleepThread(row.milliseconds);
        EXPECT_EQ(Log{row.call}, system.Take());
    }
}

TEST_F(ThreadTest, SleepThreadSleepsTheCaller) {
    Thread thread;
    EXPECT_LE(milliseconds(30), TimeOf([&] { thread.SleepThread(30); }));
}

TEST_F(ThreadTest, YieldThreadAnswersWhetherTheSystemDid) {
    Thread thread;
    EXPECT_EQ(1, thread.YieldThread());
    for (const int answer : {0, -1, 1}) {
        System system;
        system.yields = answer;
        system.yieldError = 23456;  // No function of the system sets this.
        errno = 0;
        EXPECT_EQ(answer == 0 ? 1 : 0, thread.YieldThread());
        EXPECT_EQ(23456, errno);
        EXPECT_EQ(Log{"yield"}, system.Take());
    }
}

// Start, step by step

Record RecordOf(const System& system) {
    Record record{};
    std::memcpy(&record, system.argument, sizeof record);
    return record;
}

// [thread-7]
TEST_F(ThreadTest, AStartTakesItsSteps) {
    for (const int suspended : {0, 1, -1, 256, INT_MIN}) {
        SCOPED_TRACE("suspended " + std::to_string(suspended));
        System system;
        system.creates = 0;
        Worker worker(
            [&](Worker& /*self*/) { system.log.emplace_back("body"); });
        worker.prepare = [&] {
            system.log.emplace_back("prepare");
            EXPECT_EQ("", OpenedOf(worker));
            EXPECT_EQ(0, worker.IsThreadRunning());
            return suspended != 0 ? suspended : 1;
        };
        const Fields before = FieldsOf(worker);
        Record record{};
        system.onCreate = [&] {
            record = RecordOf(system);
            EXPECT_EQ(kAllOpened, OpenedOf(worker));
            EXPECT_EQ("", SetOf(worker));
            for (const NovuEvent* const event : EventsOf(worker)) {
                EXPECT_TRUE(IsManual(event));
            }
            EXPECT_EQ(system.handle, worker.GetHandle());
        };

        EXPECT_EQ(1, worker.StartThread(suspended));
        EXPECT_EQ((Log{"prepare", "create", "usleep 100"}), system.Take());
        EXPECT_FALSE(system.hasAttributes);
        EXPECT_EQ(before.exit, record.exit);
        EXPECT_EQ(suspended != 0 ? before.resume : nullptr, record.resume);
        EXPECT_EQ(&worker, record.thread);
        EXPECT_EQ(1, worker.IsThreadRunning());
        EXPECT_NE(nullptr, system.handle);
        EXPECT_EQ(system.handle, worker.GetHandle());
        EXPECT_EQ(kAllOpened, OpenedOf(worker));
        EXPECT_EQ("", SetOf(worker));
        EXPECT_EQ(before.stop, FieldsOf(worker).stop);
        EXPECT_EQ(before.exit, FieldsOf(worker).exit);
        EXPECT_EQ(before.resume, FieldsOf(worker).resume);

        EXPECT_EQ(1, worker.ResumeThread());
        EXPECT_EQ("resume ", SetOf(worker));
        EXPECT_EQ(nullptr, system.entry(system.argument));
        EXPECT_EQ(Log{"body"}, system.Take());
        EXPECT_EQ("exit resume ", SetOf(worker));
        EXPECT_EQ(1, worker.IsThreadRunning());

        worker.StopThread(kNoLimit, 1);
        EXPECT_EQ(Log{"join"}, system.Take());
        EXPECT_EQ(nullptr, worker.GetHandle());
        EXPECT_EQ("", OpenedOf(worker));
    }
}

TEST_F(ThreadTest, AStartThatIsRefusedMakesNothing) {
    System system;
    Worker worker;
    worker.prepare = [] { return 0; };
    for (const int suspended : {0, 1}) {
        EXPECT_EQ(0, worker.StartThread(suspended));
        EXPECT_EQ(Log(), system.Take());
        EXPECT_EQ("", OpenedOf(worker));
        EXPECT_EQ(0, worker.IsThreadRunning());
        EXPECT_EQ(nullptr, worker.GetHandle());
    }
}

// The first semaphore of a program may make what all share.
void MakeASemaphore() {
    NovuEvent event;
    EXPECT_EQ(1, event.Create(1, 0, nullptr));
}

TEST_F(ThreadTest, ANegativeAnswerOfTheSystemIsAFailure) {
    MakeASemaphore();
    for (const int answer : {-1, -EAGAIN, INT_MIN}) {
        for (const int suspended : {0, 1}) {
            int bodies = 0;
            Worker worker([&](Worker& /*self*/) { ++bodies; });
            {
                System system;
                system.creates = answer;
                system.log.reserve(1);
                const AllocationLedger ledger;
                EXPECT_EQ(0, worker.StartThread(suspended));
                EXPECT_EQ(0U, ledger.Blocks());
                EXPECT_EQ(Log{"create"}, system.Take());
            }
            EXPECT_EQ("", OpenedOf(worker));
            EXPECT_EQ("", SetOf(worker));
            EXPECT_EQ(0, worker.IsThreadRunning());
            EXPECT_EQ(nullptr, worker.GetHandle());
            EXPECT_EQ(1, worker.IsStopThread(0));
            EXPECT_EQ(1, worker.StartThread(0));
            EXPECT_TRUE(Ended(worker));
            Stop(worker);
            EXPECT_EQ(1, bodies);
        }
    }
}

// [thread-5]
TEST_F(ThreadTest, APositiveAnswerOfTheSystemIsASuccess) {
    const struct {
        int line;
        int answer;
        int suspended;
        unsigned int timeout;
        int force;
    } rows[] = {
        {__LINE__, EAGAIN, 0, kNoLimit, 1}, {__LINE__, EAGAIN, 0, kNoLimit, 0},
        {__LINE__, EAGAIN, 0, 0, 0},        {__LINE__, EPERM, 0, 0, 1},
        {__LINE__, 1, 1, kNoLimit, 1},      {__LINE__, INT_MAX, 1, 1000000, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        int bodies = 0;
        Worker worker([&](Worker& /*self*/) { ++bodies; });
        {
            System system;
            system.creates = row.answer;
            EXPECT_EQ(1, worker.StartThread(row.suspended));
            EXPECT_EQ((Log{"create", "usleep 100"}), system.Take());
            EXPECT_EQ(1, worker.IsThreadRunning());
            EXPECT_NE(nullptr, worker.GetHandle());
            EXPECT_EQ(0U, worker.GetThreadId());
            EXPECT_EQ(kAllOpened, OpenedOf(worker));
            EXPECT_EQ(0, worker.IsStopThread(0));
            EXPECT_EQ(1, worker.ResumeThread());
            worker.StopThreadEvent();
            EXPECT_EQ(1, worker.IsStopThread(0));

            worker.StopThread(row.timeout, row.force);
            EXPECT_EQ(Log(), system.Take());
            EXPECT_EQ(0, worker.IsThreadRunning());
            EXPECT_EQ("", OpenedOf(worker));
        }
        EXPECT_EQ(1, worker.StartThread(0));
        EXPECT_TRUE(Ended(worker));
        Stop(worker);
        EXPECT_EQ(1, bodies);
    }
}

// [thread-5]
TEST_F(ThreadTest, WhereTheSystemMadeNoneNothingIsLeftBehind) {
    MakeASemaphore();
    const AllocationLedger ledger;
    System system;
    system.creates = EAGAIN;
    {
        Thread thread;
        EXPECT_EQ(1, thread.StartThread(1));
        // Which stops it first.
        EXPECT_EQ(1, thread.StartThread(0));
        EXPECT_EQ(1, thread.IsThreadRunning());
        // As the destructor does.
    }
    EXPECT_EQ((Log{"create", "usleep 100", "create", "usleep 100"}),
              system.Take());
    EXPECT_EQ(0U, ledger.Blocks());
}

// [thread-6]
TEST_F(ThreadTest, WhereAnEventCannotBeMadeNoStartSucceeds) {
    const struct {
        int line;
        NovuEvent* Fields::*event;  // Whose Create is refused.
        const char* opened;         // After the start.
        const char* openedLater;    // After the next ones.
    } rows[] = {
        {__LINE__, &Fields::stop, "stop ", "stop "},
        {__LINE__, &Fields::exit, "stop ", "stop "},
        {__LINE__, &Fields::resume, "resume ", "resume "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row at line " + std::to_string(row.line));
        int prepared = 0;
        Worker worker;
        worker.prepare = [&] { return ++prepared; };
        System system;
        ASSERT_EQ(1, (FieldsOf(worker).*row.event)->Create(1, 0, nullptr));
        EXPECT_EQ(0, worker.StartThread(0));
        EXPECT_EQ(row.opened, OpenedOf(worker));
        for (const int suspended : {0, 1}) {
            EXPECT_EQ(0, worker.StartThread(suspended));
            EXPECT_EQ(row.openedLater, OpenedOf(worker));
        }
        EXPECT_EQ(3, prepared);
        EXPECT_EQ(Log(), system.Take());
        EXPECT_EQ(0, worker.IsThreadRunning());
        EXPECT_EQ(nullptr, worker.GetHandle());
        EXPECT_EQ(1, worker.IsStopThread(0));
        worker.StopThread(kNoLimit, 1);
        EXPECT_EQ(row.openedLater, OpenedOf(worker));
    }
}

TEST_F(ThreadTest, AStartThatFailsForWantOfMemoryLeavesNothingBehind) {
    MakeASemaphore();
    for (const int suspended : {0, 1}) {
        std::atomic<int> bodies = 0;
        Worker worker([&](Worker& /*self*/) { ++bodies; });
        int started = -1;
        {
            const AllocationLedger ledger;
            // The handle and what the thread is given, at least.
            EXPECT_LE(2U, FailEachAllocation(
                              [&] { started = worker.StartThread(suspended); },
                              [&] {
                                  EXPECT_EQ(0U, ledger.Blocks());
                                  EXPECT_EQ(0, worker.IsThreadRunning());
                                  EXPECT_EQ(nullptr, worker.GetHandle());
                                  EXPECT_EQ("", OpenedOf(worker));
                                  EXPECT_EQ(1, worker.IsStopThread(0));
                                  EXPECT_EQ(0, bodies);
                              }));
        }
        EXPECT_EQ(1, started);
        GiveTime();
        worker.ResumeThread();
        EXPECT_TRUE(Ended(worker));
        Stop(worker);
        EXPECT_EQ(1, bodies);
    }
}

// The entry, step by step

// A record as a start makes one; the entry frees it.
void* NewRecord(const Record& record) {
    void* const made = ::operator new(sizeof record);
    std::memcpy(made, &record, sizeof record);
    return made;
}

void* (*Entry())(void*) {
    System system;
    system.creates = EAGAIN;
    Thread thread;
    thread.StartThread(0);
    return system.entry;
}

TEST_F(ThreadTest, TheEntryTakesWhatTheRecordHas) {
    void* (*const entry)(void*) = Entry();
    EXPECT_EQ(nullptr, entry(nullptr));
    for (int has = 0; has < 8; ++has) {
        SCOPED_TRACE(has);
        NovuEvent exit;
        NovuEvent resume;
        EXPECT_EQ(1, exit.Create(1, 0, nullptr));
        EXPECT_EQ(1, resume.Create(1, 1, nullptr));
        const bool hasExit = (has & 1) != 0;
        const bool hasResume = (has & 2) != 0;
        const bool hasThread = (has & 4) != 0;
        int bodies = 0;
        Worker worker([&](Worker& /*self*/) {
            ++bodies;
            EXPECT_EQ(hasExit ? -1 : 0, CountOf(&exit));  // It was looked at.
            EXPECT_EQ(0, exit.Wait(0));
        });
        {
            const AllocationLedger ledger;
            void* const record = NewRecord({hasExit ? &exit : nullptr,
                                            hasResume ? &resume : nullptr,
                                            hasThread ? &worker : nullptr});
            EXPECT_EQ(1U, ledger.Blocks());
            EXPECT_EQ(nullptr, entry(record));
            EXPECT_EQ(0U, ledger.Blocks());
        }
        EXPECT_EQ(hasThread ? 1 : 0, bodies);
        EXPECT_EQ(hasExit ? 1 : 0, exit.Wait(0));
        EXPECT_EQ(1, resume.Wait(0));
    }
}

TEST_F(ThreadTest, TheBodyCanBeCancelled) {
    void* (*const entry)(void*) = Entry();
    int state = -1;
    Worker worker([&](Worker& /*self*/) {
        int during = 0;
        ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &during);
        state = during;
    });
    int before = 0;
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before);
    entry(NewRecord({nullptr, nullptr, &worker}));
    int after = 0;
    ::pthread_setcancelstate(before, &after);
    EXPECT_EQ(PTHREAD_CANCEL_ENABLE, state);
}

// Stop, step by step

TEST_F(ThreadTest, AStopTakesItsSteps) {
    System system;
    system.creates = 0;
    int stopInBody = -1;
    std::string setInBody;
    Worker worker([&](Worker& self) {
        stopInBody = self.IsStopThread(0);
        setInBody = SetOf(self);
    });
    EXPECT_EQ(1, worker.StartThread(1));
    system.Take();

    // The body has not begun.
    for (const unsigned int timeout : {0U, 1U, 40U}) {
        EXPECT_LE(milliseconds(timeout),
                  TimeOf([&] { worker.StopThread(timeout, 0); }));
        EXPECT_EQ("stop resume ", SetOf(worker));
        EXPECT_EQ(kAllOpened, OpenedOf(worker));
        EXPECT_EQ(1, worker.IsThreadRunning());
        EXPECT_EQ(system.handle, worker.GetHandle());
        EXPECT_EQ(Log(), system.Take());
    }
    system.entry(system.argument);
    EXPECT_EQ(1, stopInBody);
    EXPECT_EQ("stop resume ", setInBody);
    EXPECT_EQ("stop exit resume ", SetOf(worker));
    EXPECT_EQ(1, worker.IsThreadRunning());

    // It is over: nobody waits, or is forced.
    worker.StopThread(0, 1);
    EXPECT_EQ(Log{"join"}, system.Take());
    EXPECT_EQ("", OpenedOf(worker));
    EXPECT_EQ(0, worker.IsThreadRunning());
    EXPECT_EQ(nullptr, worker.GetHandle());
    EXPECT_EQ(1, worker.IsStopThread(0));

    // What was set is not, the next time.
    EXPECT_EQ(1, worker.StartThread(0));
    EXPECT_EQ("", SetOf(worker));
    EXPECT_EQ(0, worker.IsStopThread(0));
    system.entry(system.argument);
}

TEST_F(ThreadTest, AForcedStopCancelsThenJoins) {
    for (const int force : {1, -1, 256, INT_MIN}) {
        for (const unsigned int timeout : {0U, 30U}) {
            System system;
            system.creates = 0;
            Worker worker;
            EXPECT_EQ(1, worker.StartThread(0));
            system.Take();
            EXPECT_LE(milliseconds(timeout),
                      TimeOf([&] { worker.StopThread(timeout, force); }));
            EXPECT_EQ((Log{"cancel", "join"}), system.Take());
            EXPECT_EQ(0, worker.IsThreadRunning());
            EXPECT_EQ("", OpenedOf(worker));
            ::operator delete(system.argument);  // No entry has it.
        }
    }
}

TEST_F(ThreadTest, AStartAndAStopLeaveNothingBehind) {
    MakeASemaphore();
    System system;
    system.creates = 0;
    system.log.reserve(100);
    const AllocationLedger ledger;
    {
        Thread thread;
        for (int round = 0; round < 3; ++round) {
            EXPECT_EQ(1, thread.StartThread(0));
            system.entry(system.argument);
        }
    }
    EXPECT_EQ(0U, ledger.Blocks());
}

// Running

TEST_F(ThreadTest, TheBodyRunsOnceOnAThreadOfItsOwn) {
    std::atomic<int> bodies = 0;
    pthread_t body{};
    pthread_t prepared{};
    Worker worker([&](Worker& self) {
        ++bodies;
        body = ::pthread_self();
        EXPECT_EQ(1, self.IsThreadRunning());
        EXPECT_EQ(0, self.IsStopThread(0));
    });
    worker.prepare = [&] {
        prepared = ::pthread_self();
        return 1;
    };
    EXPECT_EQ(1, worker.StartThread(0));
    EXPECT_TRUE(Ended(worker));
    EXPECT_EQ(1, bodies);
    EXPECT_NE(0, ::pthread_equal(::pthread_self(), prepared));
    EXPECT_EQ(0, ::pthread_equal(::pthread_self(), body));
    EXPECT_NE(0, ::pthread_equal(*worker.GetHandle(), body));
}

TEST_F(ThreadTest, TheResultOfTheBodyIsNotUsed) {
    class Answering : public Thread {
    public:
        explicit Answering(int toAnswer) : answer(toAnswer) {}
        int OnThreadEntry() override { return answer; }

    private:
        int answer;
    };
    for (const int answer : {0, 1, -1}) {
        Answering thread(answer);
        EXPECT_EQ(1, thread.StartThread(0));
        EXPECT_TRUE(Ended(thread));
        EXPECT_EQ(1, thread.IsThreadRunning());
        EXPECT_EQ(0, thread.IsStopThread(0));
        Stop(thread);
        EXPECT_EQ(0, thread.IsThreadRunning());
    }
}

// [thread-1]
TEST_F(ThreadTest, RunsUntilItIsStopped) {
    Worker worker([](Worker& /*self*/) {});
    EXPECT_EQ(1, worker.StartThread(0));
    EXPECT_TRUE(Ended(worker));
    EXPECT_EQ(1, worker.IsThreadRunning());
    EXPECT_NE(nullptr, worker.GetHandle());
    EXPECT_EQ(0, worker.IsStopThread(0));
    worker.StopThread(kNoLimit, 0);
    EXPECT_EQ(0, worker.IsThreadRunning());
    EXPECT_EQ(nullptr, worker.GetHandle());
}

// [thread-2]
TEST_F(ThreadTest, AnExceptionThatLeavesTheBodyEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto leave = [] {
        Worker worker([](Worker& /*self*/) {
            std::fputs("leaving\n", stderr);
            throw std::runtime_error("left");
        });
        worker.StartThread(0);
        Stop(worker);
        ::_exit(0);
    };
    EXPECT_EXIT(leave(), testing::KilledBySignal(SIGABRT), "leaving");
}

TEST_F(ThreadTest, IsStopThreadWaitsForARequest) {
    Worker worker([](Worker& self) {
        EXPECT_EQ(1, self.GetStopThreadEvent()->Wait(kNoLimit));
        EXPECT_EQ(1, self.IsStopThread(kNoLimit));
    });
    EXPECT_EQ(1, worker.StartThread(0));
    EXPECT_EQ(0, worker.IsStopThread(0));
    EXPECT_LE(milliseconds(60),
              TimeOf([&] { EXPECT_EQ(0, worker.IsStopThread(60)); }));
    // A request stays.
    worker.StopThreadEvent();
    for (int n = 0; n < 3; ++n) {
        EXPECT_EQ(1, worker.IsStopThread(0));
        EXPECT_EQ(1, worker.IsStopThread(kNoLimit));
    }
    EXPECT_TRUE(Ended(worker));
    EXPECT_EQ(1, worker.IsThreadRunning());
    Stop(worker);
}

TEST_F(ThreadTest, AskingForAStopDoesNotWait) {
    std::atomic<bool> release = false;
    Worker worker([&](Worker& self) {
        UntilStopped(self);
        while (!release) {
            SleepFor(milliseconds(1));
        }
    });
    EXPECT_EQ(1, worker.StartThread(0));
    worker.StopThreadEvent();
    EXPECT_EQ(0, FieldsOf(worker).exit->Wait(0));
    EXPECT_EQ(0, FieldsOf(worker).resume->Wait(0));
    EXPECT_EQ(1, worker.IsThreadRunning());
    release = true;
    EXPECT_TRUE(Ended(worker));
}

// [thread-3]
TEST_F(ThreadTest, WithoutALimitNothingIsForced) {
    System system;
    bool finished = false;
    Worker worker([&](Worker& self) {
        UntilStopped(self);
        SleepFor(milliseconds(200));
        finished = true;
    });
    EXPECT_EQ(1, worker.StartThread(0));
    system.Take();
    worker.StopThread(kNoLimit, 1);
    EXPECT_TRUE(finished);
    EXPECT_EQ(Log{"join"}, system.Take());
    EXPECT_EQ(0, worker.IsThreadRunning());
}

TEST_F(ThreadTest, AStopThatIsNotForcedMayLeaveItRunning) {
    std::atomic<bool> release = false;
    bool finished = false;
    Worker worker([&](Worker& /*self*/) {
        while (!release) {
            SleepFor(milliseconds(1));
        }
        finished = true;
    });
    EXPECT_EQ(1, worker.StartThread(0));
    const pthread_t* const handle = worker.GetHandle();
    for (const unsigned int timeout : {0U, 40U}) {
        EXPECT_LE(milliseconds(timeout),
                  TimeOf([&] { worker.StopThread(timeout, 0); }));
        EXPECT_EQ(1, worker.IsThreadRunning());
        EXPECT_EQ(handle, worker.GetHandle());
        EXPECT_EQ(1, worker.IsStopThread(0));
    }
    release = true;
    EXPECT_TRUE(Ended(worker));
    worker.StopThread(0, 0);
    EXPECT_EQ(0, worker.IsThreadRunning());
    EXPECT_TRUE(finished);
}

// Suspended

TEST_F(ThreadTest, ASuspendedThreadWaitsToBeResumed) {
    std::atomic<int> bodies = 0;
    Worker worker([&](Worker& self) {
        ++bodies;
        EXPECT_EQ(0, self.IsStopThread(0));
    });
    for (int round = 1; round <= 2; ++round) {
        EXPECT_EQ(1, worker.StartThread(1));
        GiveTime();
        EXPECT_EQ(round - 1, bodies);
        EXPECT_EQ(1, worker.IsThreadRunning());
        // It has not looked at its exit event either.
        EXPECT_EQ(0, CountOf(FieldsOf(worker).exit));
        EXPECT_EQ(1, worker.ResumeThread());
        EXPECT_EQ(1, worker.ResumeThread());
        EXPECT_TRUE(Ended(worker));
        EXPECT_EQ(round, bodies);
        Stop(worker);
        EXPECT_EQ(0, worker.ResumeThread());
    }
}

TEST_F(ThreadTest, AThreadThatIsNotSuspendedDoesNotWait) {
    Worker worker([](Worker& /*self*/) {});
    EXPECT_EQ(1, worker.StartThread(0));
    EXPECT_TRUE(Ended(worker));
    EXPECT_EQ(0, FieldsOf(worker).resume->Wait(0));
    EXPECT_EQ(1, worker.ResumeThread());
    EXPECT_EQ(1, FieldsOf(worker).resume->Wait(0));
}

TEST_F(ThreadTest, AStopLetsASuspendedBodyRunOnce) {
    for (const int force : {0, 1}) {
        System system;
        int bodies = 0;
        Worker worker([&](Worker& self) {
            ++bodies;
            EXPECT_EQ(1, self.IsStopThread(0));
        });
        EXPECT_EQ(1, worker.StartThread(1));
        GiveTime();
        system.Take();
        worker.StopThread(20000, force);
        EXPECT_EQ(1, bodies);
        EXPECT_EQ(Log{"join"}, system.Take());
        EXPECT_EQ(0, worker.IsThreadRunning());
    }
}

TEST_F(ThreadTest, AnyThreadMayAskResumeAndLook) {
    Worker worker;
    EXPECT_EQ(1, worker.StartThread(1));
    GiveTime();
    std::vector<std::thread> threads;
    for (int n = 0; n < 3; ++n) {
        threads.emplace_back([&] {
            EXPECT_EQ(1, worker.ResumeThread());
            worker.StopThreadEvent();
            EXPECT_EQ(1, worker.IsStopThread(0));
            EXPECT_EQ(1, worker.IsThreadRunning());
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(Ended(worker));
}

// Again

TEST_F(ThreadTest, CanBeStartedAgainAndAgain) {
    int bodies = 0;
    Worker worker([&](Worker& self) {
        ++bodies;
        EXPECT_EQ(0, self.IsStopThread(0));
    });
    for (int round = 1; round <= 200; ++round) {
        ASSERT_EQ(1, worker.StartThread(0));
        ASSERT_TRUE(Ended(worker));
        worker.StopThread(kNoLimit, 1);
        ASSERT_EQ(round, bodies);
        ASSERT_EQ(0, worker.IsThreadRunning());
    }
}

// [thread-4]
TEST_F(ThreadTest, AStartStopsWhatIsRunning) {
    struct Request {
        unsigned int timeout;
        int force;

        bool operator==(const Request&) const = default;
    };
    class Stopped : public Worker {
    public:
        using Worker::Worker;
        void StopThread(unsigned int timeout, int force) override {
            stops.push_back({timeout, force});
            Worker::StopThread(timeout, force);
        }

        std::vector<Request> stops;
    };
    std::atomic<int> begun = 0;
    std::atomic<int> ended = 0;
    Stopped worker([&](Worker& self) {
        ++begun;
        UntilStopped(self);
        ++ended;
    });
    std::string order;
    worker.prepare = [&] {
        order += worker.IsThreadRunning() != 0 ? "running " : "stopped ";
        return 1;
    };
    EXPECT_EQ(1, worker.StartThread(0));
    EXPECT_TRUE(worker.stops.empty());
    EXPECT_TRUE(Eventually([&] { return begun == 1; }));
    EXPECT_EQ(1, worker.StartThread(0));
    EXPECT_EQ((std::vector<Request>{{kNoLimit, 1}}), worker.stops);
    EXPECT_EQ(1, ended);
    EXPECT_TRUE(Eventually([&] { return begun == 2; }));
    // Stopped, and then refused.
    worker.prepare = [&] {
        order += worker.IsThreadRunning() != 0 ? "running " : "stopped ";
        return 0;
    };
    EXPECT_EQ(0, worker.StartThread(0));
    EXPECT_EQ(2U, worker.stops.size());
    EXPECT_EQ(2, ended);
    EXPECT_EQ(0, worker.IsThreadRunning());
    EXPECT_EQ("stopped stopped stopped ", order);
}

// Where StopThread is overridden and does not stop, there is no second thread.
TEST_F(ThreadTest, WhatDoesNotStopIsNotStartedAgain) {
    class Stubborn : public Worker {
    public:
        using Worker::Worker;
        void StopThread(unsigned int /*timeout*/, int /*force*/) override {}
    };
    int bodies = 0;
    Stubborn worker([&](Worker& self) {
        ++bodies;
        UntilStopped(self);
    });
    EXPECT_EQ(1, worker.StartThread(0));
    const pthread_t* const handle = worker.GetHandle();
    {
        System system;
        EXPECT_EQ(0, worker.StartThread(0));
        EXPECT_EQ(Log(), system.Take());
    }
    EXPECT_EQ(1, worker.IsThreadRunning());
    EXPECT_EQ(handle, worker.GetHandle());
    EXPECT_EQ(kAllOpened, OpenedOf(worker));
    EXPECT_EQ(0, worker.IsStopThread(0));
    Stop(worker);
    EXPECT_EQ(1, bodies);
}

// Identity

TEST_F(ThreadTest, TheIdIsTheFirstWordOfTheThreadObject) {
    // The system has written an object when the body begins.
    std::atomic<int> begun = 0;
    const auto body = [&](Worker& self) {
        ++begun;
        UntilStopped(self);
    };
    Worker first(body);
    Worker second(body);
    EXPECT_EQ(1, first.StartThread(0));
    EXPECT_EQ(1, second.StartThread(0));
    EXPECT_TRUE(Eventually([&] { return begun == 2; }));
    for (const Worker* const worker : {&first, &second}) {
        unsigned long long word = 0;
        // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is an address.
        const void* const object =
            reinterpret_cast<const void*>(*worker->GetHandle());
        std::memcpy(&word, object, sizeof word);
        EXPECT_EQ(word, worker->GetThreadId());
        EXPECT_NE(0U, worker->GetThreadId());
    }
    EXPECT_NE(first.GetThreadId(), second.GetThreadId());
    Stop(first);
    EXPECT_EQ(0U, first.GetThreadId());
}

// [thread-10]
TEST_F(ThreadTest, ThreadsAreComparedByTheirHandles) {
    Worker first;
    Worker second;
    const auto equal = [](const Thread& one, const Thread& other) {
        const int isEqual = one == other;
        const int isUnequal = one != other;
        EXPECT_EQ(1 - isEqual, isUnequal);
        return isEqual;
    };
    EXPECT_EQ(1, equal(first, second));
    EXPECT_EQ(1, equal(first, first));
    EXPECT_EQ(1, first.StartThread(0));
    EXPECT_EQ(0, equal(first, second));
    EXPECT_EQ(0, equal(second, first));
    EXPECT_EQ(1, equal(first, first));
    EXPECT_EQ(1, second.StartThread(0));
    EXPECT_EQ(0, equal(first, second));
    EXPECT_EQ(1, equal(second, second));
    Stop(first);
    Stop(second);
    EXPECT_EQ(1, equal(first, second));
}

// Interruptions

// A handler of SIGUSR1, without SA_RESTART, that counts.
class Interruptions {
public:
    Interruptions() {
        count = 0;
        struct sigaction action {};
        action.sa_handler = [](int) { ++count; };
        ::sigaction(SIGUSR1, &action, &before);
    }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;
    ~Interruptions() { ::sigaction(SIGUSR1, &before, nullptr); }

    static std::atomic<int> count;
    static_assert(std::atomic<int>::is_always_lock_free);

private:
    struct sigaction before {};
};

std::atomic<int> Interruptions::count = 0;

void Interrupt(pthread_t thread) {
    for (int n = 0; n < 20; ++n) {
        ::pthread_kill(thread, SIGUSR1);
        SleepFor(milliseconds(5));
    }
}

TEST_F(ThreadTest, AnInterruptionDoesNotEndAStop) {
    const Interruptions interruptions;
    const pthread_t owner = ::pthread_self();
    System system;
    bool finished = false;
    Worker worker([&](Worker& self) {
        UntilStopped(self);
        Interrupt(owner);
        finished = true;
    });
    EXPECT_EQ(1, worker.StartThread(0));
    system.Take();
    worker.StopThread(kNoLimit, 1);
    EXPECT_TRUE(finished);
    EXPECT_EQ(Log{"join"}, system.Take());
    EXPECT_LT(0, interruptions.count);
}

TEST_F(ThreadTest, AnInterruptionDoesNotResume) {
    const Interruptions interruptions;
    std::atomic<bool> begun = false;
    Worker worker([&](Worker& /*self*/) {
        begun = true;
        SleepFor(milliseconds(1));
    });
    EXPECT_EQ(1, worker.StartThread(1));
    GiveTime();
    Interrupt(*worker.GetHandle());
    EXPECT_FALSE(begun);
    EXPECT_EQ(1, worker.ResumeThread());
    EXPECT_TRUE(Ended(worker));
    EXPECT_TRUE(begun);
    EXPECT_LT(0, interruptions.count);
}

// Handlers

class Handler final : public ThreadHandler {
public:
    int OnPreThreadStart(Thread* thread) override { return prepare(thread); }
    int OnThreadEntry(Thread* thread) override { return run(thread); }

    std::function<int(Thread*)> prepare = [](Thread*) { return 1; };
    std::function<int(Thread*)> run = [](Thread*) { return 0; };
};

TEST_F(ThreadHandlerTest, StandsInForTheHooks) {
    for (const int answer : {0, 1, 7, -3, INT_MIN}) {
        Handler handler;
        Thread thread;
        handler.prepare = [&](Thread* given) {
            return given == &thread ? answer : 100;
        };
        handler.run = [&](Thread* given) {
            return given == &thread ? answer : 100;
        };
        thread.SetThreadHandler(&handler);
        EXPECT_EQ(&handler, FieldsOf(thread).handler);
        EXPECT_EQ(answer, thread.OnPreThreadStart());
        EXPECT_EQ(answer, thread.OnThreadEntry());
        thread.SetThreadHandler(nullptr);
        EXPECT_EQ(nullptr, FieldsOf(thread).handler);
        EXPECT_EQ(1, thread.OnPreThreadStart());
        EXPECT_EQ(0, thread.OnThreadEntry());
    }
}

TEST_F(ThreadHandlerTest, IsAskedByTheCallerAndRunsOnTheThread) {
    Handler handler;
    Thread thread;
    thread.SetThreadHandler(&handler);
    Thread* prepared = nullptr;
    Thread* ran = nullptr;
    pthread_t preparer{};
    pthread_t runner{};
    handler.prepare = [&](Thread* given) {
        prepared = given;
        preparer = ::pthread_self();
        EXPECT_EQ(0, given->IsThreadRunning());
        EXPECT_EQ("", OpenedOf(*given));
        return -1;
    };
    handler.run = [&](Thread* given) {
        ran = given;
        runner = ::pthread_self();
        return 1;
    };
    EXPECT_EQ(1, thread.StartThread(0));
    EXPECT_EQ(&thread, prepared);
    EXPECT_NE(0, ::pthread_equal(::pthread_self(), preparer));
    EXPECT_TRUE(Ended(thread));
    EXPECT_EQ(&thread, ran);
    EXPECT_NE(0, ::pthread_equal(*thread.GetHandle(), runner));
    Stop(thread);
}

TEST_F(ThreadHandlerTest, CancelsTheStart) {
    System system;
    Handler handler;
    handler.prepare = [](Thread*) { return 0; };
    Thread thread;
    thread.SetThreadHandler(&handler);
    EXPECT_EQ(0, thread.StartThread(0));
    EXPECT_EQ(Log(), system.Take());
    EXPECT_EQ("", OpenedOf(thread));
    EXPECT_EQ(0, thread.IsThreadRunning());
}

TEST_F(ThreadHandlerTest, CanBeReplacedBetweenStarts) {
    std::atomic<int> first = 0;
    std::atomic<int> second = 0;
    Handler one;
    one.run = [&](Thread*) { return ++first; };
    Handler other;
    other.run = [&](Thread*) { return ++second; };
    Thread thread;
    for (Handler* const handler : {&one, &other, &one}) {
        thread.SetThreadHandler(handler);
        EXPECT_EQ(1, thread.StartThread(0));
        EXPECT_TRUE(Ended(thread));
        Stop(thread);
    }
    EXPECT_EQ(2, first);
    EXPECT_EQ(1, second);
}

TEST_F(ThreadHandlerTest, IsNotAskedWhereTheHooksAreOverridden) {
    Handler handler;
    int asked = 0;
    handler.prepare = [&](Thread*) { return ++asked; };
    handler.run = [&](Thread*) { return ++asked; };
    Worker worker([](Worker& /*self*/) {});
    worker.SetThreadHandler(&handler);
    EXPECT_EQ(1, worker.StartThread(0));
    EXPECT_TRUE(Ended(worker));
    Stop(worker);
    EXPECT_EQ(0, asked);
}

// Also through a pointer to the base, without a cancellation, and however long
// it takes.
TEST_F(ThreadHandlerTest, IsWaitedForByTheDestructor) {
    class Derived : public Thread {};
    System system;
    Handler handler;
    bool finished = false;
    std::atomic<bool> begun = false;
    handler.run = [&](Thread* thread) {
        begun = true;
        UntilStopped(*thread);
        SleepFor(milliseconds(100));
        finished = true;
        return 0;
    };
    std::unique_ptr<Thread> thread = std::make_unique<Derived>();
    thread->SetThreadHandler(&handler);
    EXPECT_EQ(1, thread->StartThread(0));
    EXPECT_TRUE(Eventually([&] { return begun.load(); }));
    system.Take();
    thread.reset();
    EXPECT_TRUE(finished);
    EXPECT_EQ(Log{"join"}, system.Take());
}

TEST_F(ThreadHandlerTest, RunsOnceWhereASuspendedThreadIsDestroyed) {
    System system;
    Handler handler;
    int bodies = 0;
    handler.run = [&](Thread* thread) {
        ++bodies;
        EXPECT_EQ(1, thread->IsStopThread(0));
        return 0;
    };
    {
        Thread thread;
        thread.SetThreadHandler(&handler);
        EXPECT_EQ(1, thread.StartThread(1));
        GiveTime();
        EXPECT_EQ(0, bodies);
        system.Take();
    }
    EXPECT_EQ(1, bodies);
    EXPECT_EQ(Log{"join"}, system.Take());
}

}  // namespace
