// Pattern: actions as objects, and lists of them.
//
// Errors   None; what a command throws passes.
// Threads  One thread at a time for each object.
// See      docs/surprises.md, "Commands", for what is By design.

#ifndef NOVU_BASES_PATTERN_H_
#define NOVU_BASES_PATTERN_H_

#include <list>

#include "Bases/Export.h"

namespace Novu {

/// Something that can be done.
///
/// Example (examples/Pattern.cpp):
///
///     class Say : public Novu::Command {
///     public:
///         explicit Say(std::string newText) : text(std::move(newText)) {}
///
///         void Execute() override { std::cout << text << '\n'; }
///
///     private:
///         std::string text;
///     };
class NOVU_API Command {
public:
    virtual ~Command();  ///< Commands are deleted through this class.

    virtual void Execute() = 0;  ///< Does it. What it throws passes.
};

/// Commands that are done one after the other, in the order in which they were
/// added. One of them may be a `MacroCommand` itself, whose commands then run
/// in its place.
///
/// Example (examples/Pattern.cpp):
///
///     Novu::MacroCommand talk;
///     talk.Add(new Say("Hello."));  // Owned by the list from now on.
///     talk.Add(new Say("How do you do?"));
///     talk.Add(parting.release());  // A list can be in a list.
///     talk.Execute();
class NOVU_API MacroCommand : public Command {
public:
    MacroCommand();  ///< Without commands.

    MacroCommand(const MacroCommand&) = delete;  // Both would own the commands.
    MacroCommand& operator=(const MacroCommand&) = delete;

    ~MacroCommand() override;  ///< Deletes the commands, in their order.

    /// Appends a command, made by plain new, and owns it from then on. Null is
    /// stored and passed over. Where memory runs out, the command stays the
    /// caller's.
    /// By design [pattern-1]: nothing is checked. A command that is added twice
    /// is executed twice, and deleted twice, which no program survives.
    void Add(Command* command);

    /// Executes each command. One that throws is the last.
    void Execute() override;

private:
    std::list<Command*> children;  // Owned; in the order of Add.
};

}  // namespace Novu

#endif  // NOVU_BASES_PATTERN_H_
