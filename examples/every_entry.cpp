#include <Bases/FileFind.h>

#include <filesystem>
#include <iostream>
#include <string>

int main(int argc, char** argv) {
    const std::string folder = std::string(argc > 1 ? argv[1] : ".") + "/";
    Novu::FileFind find;
    bool known = find.FindFirst(folder, "");
    if (!known) {
        // Unreadable, or empty, or its first entry has no status.
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            std::cout << entry.path().filename().native() << '\n';
        }
        return 0;
    }

    // FindNext answers false for an entry without a status as it does at the
    // end, but only at the end the name stays what it was.
    std::string name;
    while (known || name != find.GetFileName()) {
        name = find.GetFileName();
        if (name != "." && name != "..") {
            std::cout << name << '\n';
        }
        known = find.FindNext();
    }
}
