// Commands, from Bases/Pattern.h.

#include "Bases/Pattern.h"

namespace Novu {

Command::~Command() = default;

MacroCommand::MacroCommand() = default;

MacroCommand::~MacroCommand() {
    for (const Command* const child : children) {
        delete child;
    }
}

void MacroCommand::Add(Command* command) { children.push_back(command); }

void MacroCommand::Execute() {
    for (Command* const child : children) {
        if (child != nullptr) {
            child->Execute();
        }
    }
}

}  // namespace Novu
