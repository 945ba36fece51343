#include <Bases/All.h>

#include <iostream>

int main() {
    Novu::BasesInit();  // First; throws where LANG names no known locale.

    Novu::Guid id;
    id.Generate();
    Novu::XmlWriter writer;
    writer.BeginDocument("UTF-8");
    writer.BeginElement("note");
    writer.WriteAttribute("id", id, 1);
    writer.WriteEntity("Hello from libNovu-Bases.");
    writer.EndDocument();
    writer.Save("note.xml");

    Novu::XmlReader reader;
    std::string text;
    if (reader.Load("note.xml") == 1 &&
        reader.GetEntity(reader.GetRootElement(), text) == 1) {
        std::cout << text << '\n';
    }
    reader.Close();
    Novu::BasesRelease();
}

// Prints:
//   Hello from libNovu-Bases.
