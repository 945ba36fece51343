// The entry's helpers, from Entry.h.

#include "Entry.h"

#include <algorithm>
#include <limits>

#include "Names.h"

namespace Inventory {

const char* NameOf(Type type) {
    switch (type) {
        case Type::File:
            return "file";
        case Type::Folder:
            return "folder";
        case Type::Link:
            return "link";
        case Type::Other:
            return "other";
        case Type::Unreadable:
            break;
    }
    return "unreadable";
}

std::optional<Type> TypeNamed(const std::string& name) {
    for (const Type type : kTypes) {
        if (name == NameOf(type)) {
            return type;
        }
    }
    return std::nullopt;
}

std::string Complaint(const Entry& entry) {
    return (entry.type == Type::File ? "no digest: " : "unreadable: ") +
           Printable(entry.path) + ": " + entry.problem;
}

bool IsBefore(const std::string& path, const std::string& other) {
    const auto [a, b] =
        std::mismatch(path.begin(), path.end(), other.begin(), other.end());
    if (a == path.end() || b == other.end()) {
        return b != other.end();
    }
    // A "/" stands before every byte of a name, so that what is in a folder
    // follows it at once.
    const auto rank = [](char c) {
        return c == '/' ? 0 : static_cast<unsigned char>(c);
    };
    return rank(*a) < rank(*b);
}

bool IsBelow(const std::string& path, const std::string& folder) {
    return path.size() > folder.size() && path[folder.size()] == '/' &&
           path.compare(0, folder.size(), folder) == 0;
}

std::string Changes(const Entry& before, const Entry& now) {
    if (before.type != now.type) {
        return std::string("type ") + NameOf(before.type) + " -> " +
               NameOf(now.type);
    }
    if (before.contentsUnreadable != now.contentsUnreadable) {
        return now.contentsUnreadable ? "contents unreadable"
                                      : "contents readable";
    }
    if (now.type != Type::File && now.type != Type::Link) {
        return "";
    }

    std::string changes;
    const auto add = [&changes](const std::string& change) {
        changes += (changes.empty() ? "" : ", ") + change;
    };
    if (before.size != now.size) {
        add("size " + std::to_string(before.size) + " -> " +
            std::to_string(now.size));
    }
    if (before.modified != now.modified) {
        add("modified");
    }
    if (before.target != now.target) {
        add("target " + Printable(before.target) + " -> " +
            Printable(now.target));
    }
    if (!before.md5.empty() && !now.md5.empty() && before.md5 != now.md5) {
        add("content");
    }
    if (now.type == Type::File && !now.problem.empty()) {
        add("content not read");
    }
    return changes;
}

unsigned long long AddSizes(unsigned long long a, unsigned long long b) {
    const unsigned long long most =
        std::numeric_limits<unsigned long long>::max();
    return b > most - a ? most : a + b;
}

}  // namespace Inventory
