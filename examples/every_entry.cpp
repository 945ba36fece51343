#include <Bases/FileFind.h>

#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>

int main(int argc, char** argv) {
    const std::string folder = std::string(argc > 1 ? argv[1] : ".") + "/";
    Novu::FileFind find;
    bool known = find.FindFirst(folder, "");
    if (!known) {
        // Unreadable, or empty, or its first entry has no status.
        std::error_code error;
        std::filesystem::directory_iterator entry(folder, error);
        for (; !error && entry != end(entry); entry.increment(error)) {
            std::cout << entry->path().filename().native() << '\n';
        }
        return error ? 1 : 0;
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
