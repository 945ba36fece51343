// The width of text, from Width.h.

#include "Width.h"

#include <wchar.h>

#include <cwchar>

namespace Inventory {

namespace {

// The character at the beginning of the text: its bytes and its columns.
struct Character {
    std::size_t size = 1;
    std::size_t width = 1;
};

Character FirstOf(const char* text, std::size_t size, std::mbstate_t& state) {
    Character first;
    wchar_t code = 0;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the state is the caller's.
    const std::size_t used = std::mbrtowc(&code, text, size, &state);
    if (used == 0 || used > size) {  // A zero, or no text of this locale.
        state = std::mbstate_t();
        return first;
    }
    first.size = used;
    const int width = ::wcwidth(code);
    first.width = width < 0 ? 1 : static_cast<std::size_t>(width);
    return first;
}

}  // namespace

std::size_t WidthOf(const std::string& text) {
    std::mbstate_t state{};
    std::size_t width = 0;
    for (std::size_t at = 0; at < text.size();) {
        const Character next =
            FirstOf(text.data() + at, text.size() - at, state);
        width += next.width;
        at += next.size;
    }
    return width;
}

std::string CutTo(std::size_t columns, const std::string& text) {
    if (WidthOf(text) <= columns) {
        return text;
    }
    const std::string rest = "...";
    std::mbstate_t state{};
    std::size_t width = rest.size();
    std::size_t at = 0;
    while (at < text.size()) {
        const Character next =
            FirstOf(text.data() + at, text.size() - at, state);
        if (width + next.width > columns) {
            break;
        }
        width += next.width;
        at += next.size;
    }
    return text.substr(0, at) + rest;
}

}  // namespace Inventory
