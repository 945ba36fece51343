// Pattern: actions as objects, done one after the other.

#include <Bases/Pattern.h>

#include <iostream>
#include <memory>
#include <string>
#include <utility>

namespace {

class Say : public Novu::Command {
public:
    explicit Say(std::string newText) : text(std::move(newText)) {}

    void Execute() override { std::cout << text << '\n'; }

private:
    std::string text;
};

}  // namespace

int main() {
    auto parting = std::make_unique<Novu::MacroCommand>();
    parting->Add(new Say("Good bye."));

    Novu::MacroCommand talk;
    talk.Add(new Say("Hello."));  // Owned by the list from now on.
    talk.Add(new Say("How do you do?"));
    talk.Add(parting.release());  // A list can be in a list.
    talk.Execute();
}

// Prints:
//   Hello.
//   How do you do?
//   Good bye.
