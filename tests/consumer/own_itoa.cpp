// A host with an _itoa of its own, which answers rubbish: the library's calls
// stay with the library's function.

#include <Bases/XmlDoc.h>

#include <cstdio>
#include <cstring>
#include <string>

extern "C" char* _itoa(int /*value*/, char* buffer, int /*radix*/) {
    std::strcpy(buffer, "rubbish");
    return buffer;
}

int main() {
    char text[16];
    if (std::string(_itoa(1, text, 10)) != "rubbish") {
        std::fputs("own_itoa: the host lost its own function\n", stderr);
        return 1;
    }

    Novu::XmlWriter writer;
    writer.BeginDocument("UTF-8");
    writer.WriteElementEntity("number", 42);
    writer.EndDocument();
    unsigned long size = 0;
    const unsigned char* const bytes = writer.GetXmlBuffer(size);
    const std::string document(reinterpret_cast<const char*>(bytes), size);
    if (document.find("<number>42</number>") == std::string::npos) {
        std::fprintf(stderr, "own_itoa: 42 was written as\n%s",
                     document.c_str());
        return 1;
    }
    std::puts("own_itoa: all is well");
    return 0;
}
