// The contract of Bases/Pattern.h. Commands write what happens to them into a
// log: "a" where the command a is executed, "~a" where it is destroyed.

#include "Bases/Pattern.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <list>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "tests/support/Allocation.h"
#include "tests/support/VirtualSlots.h"

namespace {

using Novu::Command;
using Novu::MacroCommand;

static_assert(std::is_abstract_v<Command>);
static_assert(std::has_virtual_destructor_v<Command>);
static_assert(sizeof(Command) == sizeof(void*));
static_assert(std::is_same_v<decltype(&Command::Execute), void (Command::*)()>);
static_assert(std::is_base_of_v<Command, MacroCommand>);
static_assert(std::is_convertible_v<MacroCommand*, Command*>);
static_assert(sizeof(MacroCommand) ==
              sizeof(void*) + sizeof(std::list<Command*>));
static_assert(!std::is_copy_constructible_v<MacroCommand>);
static_assert(!std::is_copy_assignable_v<MacroCommand>);
static_assert(std::is_same_v<decltype(&MacroCommand::Add),
                             void (MacroCommand::*)(Command*)>);
static_assert(
    std::is_same_v<decltype(&MacroCommand::Execute), void (MacroCommand::*)()>);

class Noting : public Command {
public:
    Noting(std::string ownName, std::string& ownLog)
        : name(std::move(ownName)), log(ownLog) {}
    ~Noting() override { log += "~" + name; }
    Noting(const Noting&) = delete;
    Noting& operator=(const Noting&) = delete;

    void Execute() override { log += name; }

private:
    std::string name;
    std::string& log;
};

class Throwing : public Command {
public:
    void Execute() override { throw std::runtime_error("stop"); }
};

TEST(PatternTest, TheSlotsAreTheDestructorAndExecute) {
    // A command has no other operation that is virtual, and a macro adds none.
    EXPECT_EQ(1, NovuTest::VirtualOperations<MacroCommand>());
    // By the C++ ABI of Linux and macOS, a pointer to a virtual function is 1 +
    // the offset of its slot; the destructor has the first two.
    auto execute = &Command::Execute;
    std::ptrdiff_t slot = 0;
    std::memcpy(&slot, &execute, sizeof slot);
    EXPECT_EQ(1 + 2 * static_cast<std::ptrdiff_t>(sizeof(void*)), slot);
}

TEST(PatternTest, WithoutCommandsNothingHappens) {
    MacroCommand macro;
    EXPECT_NO_THROW(macro.Execute());
}

TEST(PatternTest, CommandsRunInTheOrderOfAddAndAreDeletedInIt) {
    std::string log;
    {
        MacroCommand macro;
        macro.Add(new Noting("a", log));
        macro.Add(new Noting("b", log));
        macro.Add(new Noting("c", log));
        EXPECT_EQ("", log);
        macro.Execute();
        EXPECT_EQ("abc", log);
        macro.Execute();
        EXPECT_EQ("abcabc", log);
        log.clear();
    }
    EXPECT_EQ("~a~b~c", log);
}

TEST(PatternTest, NullIsPassedOver) {
    std::string log;
    {
        MacroCommand macro;
        macro.Add(nullptr);
        macro.Add(new Noting("a", log));
        macro.Add(nullptr);
        macro.Add(new Noting("b", log));
        macro.Execute();
    }
    EXPECT_EQ("ab~a~b", log);
}

TEST(PatternTest, AMacroInAMacroRunsInItsPlace) {
    std::string log;
    {
        auto inner = std::make_unique<MacroCommand>();
        inner->Add(new Noting("b", log));
        inner->Add(new Noting("c", log));
        MacroCommand outer;
        outer.Add(new Noting("a", log));
        outer.Add(inner.release());
        outer.Add(new Noting("d", log));
        Command& command = outer;
        command.Execute();
        log += ' ';
    }
    EXPECT_EQ("abcd ~a~b~c~d", log);
}

// [pattern-1]
TEST(PatternTest, ACommandThatIsAddedTwiceRunsTwice) {
    std::string log;
    Noting twice("a", log);
    alignas(MacroCommand) unsigned char room[sizeof(MacroCommand)];
    auto* const macro = new (room) MacroCommand;
    macro->Add(&twice);
    macro->Add(&twice);
    macro->Execute();
    EXPECT_EQ("aa", log);
    // Its children are taken away by hand: a second delete must not happen.
    void* const listAt = room + sizeof(void*);
    auto* const children = static_cast<std::list<Command*>*>(listAt);
    EXPECT_EQ((std::list<Command*>{&twice, &twice}), *children);
    children->clear();
    macro->~MacroCommand();
    EXPECT_EQ("aa", log);
}

TEST(PatternTest, WhatACommandThrowsPassesAndEndsTheWalk) {
    std::string log;
    {
        MacroCommand macro;
        macro.Add(new Noting("a", log));
        macro.Add(new Throwing);
        macro.Add(new Noting("b", log));
        EXPECT_THROW(macro.Execute(), std::runtime_error);
        EXPECT_EQ("a", log);
    }
    EXPECT_EQ("a~a~b", log);
}

TEST(PatternTest, ACommandThatCannotBeAddedStaysTheCallers) {
    std::string log;
    MacroCommand macro;
    auto command = std::make_unique<Noting>("a", log);
    {
        const NovuTest::FailingAllocation failing(1);
        EXPECT_THROW(macro.Add(command.get()), std::bad_alloc);
    }
    macro.Execute();
    EXPECT_EQ("", log);
    command.reset();
    EXPECT_EQ("~a", log);
}

TEST(PatternTest, NothingIsLeftBehind) {
    const NovuTest::AllocationLedger ledger;
    {
        std::string log;
        MacroCommand macro;
        for (int round = 0; round < 10; ++round) {
            macro.Add(new Noting("a", log));
        }
        macro.Add(new MacroCommand);
        macro.Execute();
    }
    EXPECT_EQ(0U, ledger.Blocks());
}

}  // namespace
