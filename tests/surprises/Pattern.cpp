// The surprise of Bases/Pattern.h.

#include "Bases/Pattern.h"

#include <list>

#include "tests/surprises/Seen.h"

namespace {

using Novu::Command;
using Novu::MacroCommand;
using NovuTest::SurprisesTest;

class Counted : public Command {
public:
    void Execute() override { ++times; }

    int times = 0;
};

// [pattern-1] Neither is ever destroyed: a second delete must not happen.
TEST_F(SurprisesTest, pattern_1) {
    // Each round of the test has its own, and all can be reached in the end.
    static auto& kept = *new std::list<MacroCommand*>;
    kept.push_back(new MacroCommand);
    MacroCommand& macro = *kept.back();
    auto* const command = new Counted;
    SEEN(macro.Add(command); macro.Add(command); macro.Execute();
         command->times == 2);
}

}  // namespace
