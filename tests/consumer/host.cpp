// A host as a stranger would write it: it knows the installed headers and
// nothing of this tree. It says what went wrong, and exits with 1.

#include <Bases/All.h>
#include <Bases/Bases.h>
#include <Bases/FileFind.h>
#include <Bases/Guid.h>
#include <Bases/String.h>
#include <Bases/ThreadPool.h>
#include <Bases/XmlDoc.h>
#include <Bases/tchar.h>

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

namespace {

const char kIdentifier[] = "6ba7b810-9dad-11d1-80b4-00c04fd430c8";

void Check(bool holds, const char* what) {
    if (!holds) {
        throw std::runtime_error(what);
    }
}

void WriteDocument(const std::string& path) {
    Novu::Guid id;
    Check(id.FromString(kIdentifier), "the identifier is refused");

    Novu::XmlWriter writer;
    Check(writer.BeginDocument("UTF-8") == 1, "no document was begun");
    Check(writer.BeginElement("order") == 1, "no element was begun");
    Check(writer.WriteAttribute("id", id, 1) == 1, "no identifier was written");
    Check(writer.WriteAttribute("lines", -17) == 1, "no int was written");
    Check(writer.WriteElementEntity("total", 1234567890123LL) == 1,
          "no long long was written");
    Check(writer.EndElement() == 1, "no element was ended");
    Check(writer.EndDocument() == 1, "no document was ended");
    Check(writer.Save(path) == 1, "the document was not saved");
}

void ReadDocument(const std::string& path) {
    Novu::XmlReader reader;
    Check(reader.Load(path) == 1, "the document was not loaded");
    Novu::XmlReader::Element* const order = reader.GetRootElement();
    std::string name;
    Check(reader.GetElement(order, name) == 1 && name == "order",
          "the root is not the element that was written");

    Novu::XmlReader::Attribute* attribute = reader.GetFirstAttribute(order);
    Novu::Guid id;
    Check(reader.GetAttribute(attribute, name, id) == 1 &&
              id.ToString(1) == kIdentifier,
          "the identifier that was read is another");
    attribute = reader.NextAttribute(attribute);
    std::string text;
    Check(reader.GetAttribute(attribute, name, text) == 1 && name == "lines" &&
              text == "-17",
          "the int that was read is another");
    Novu::XmlReader::Element* const total =
        reader.ChildElement(order, /*name=*/nullptr);
    Check(reader.GetEntity(total, text) == 1 && text == "1234567890123",
          "the long long that was read is another");
}

// The document is the only entry of the directory.
void ListDirectory(const std::string& directory, const std::string& file) {
    Novu::FileFind find;
    Check(find.FindFirst(directory, ""), "the directory is empty");
    unsigned long long bytes = 0;
    do {
        const std::string name = find.GetFileName();
        if (name != "." && name != "..") {
            Check(name == file, "the directory has another entry");
            Check(find.GetFileType() == 2, "the entry is no regular file");
            bytes = find.GetFileSize();
        }
    } while (find.FindNext());
    Check(bytes > 0, "the document is not listed, or empty");
}

void PrintNumber() {
    char text[65];
    Check(std::string(_itoa(48879, text, 16)) == "beef", "_itoa is wrong");
    wchar_t wide[65];
    Check(std::wstring(_itow(-7, wide, 10)) == L"-7", "_itow is wrong");
}

void ConvertText() {
    Check(Novu::mbs_to_wcs("text") == L"text", "mbs_to_wcs is wrong");
    Check(Novu::wcs_to_mbs(L"text") == "text", "wcs_to_mbs is wrong");
}

void RunTasks() {
    Novu::ThreadTaskPool pool;
    Check(pool.StartThread(0) == 1, "the pool was not started");
    Novu::Event ran;
    Check(ran.Create(1, 0, nullptr) == 1, "no event was created");
    int tasks = 0;
    pool.Post([&tasks] { ++tasks; });
    pool.Post([&tasks, &ran] {
        ++tasks;
        ran.Set();
    });
    Check(ran.Wait(10000) == 1, "the tasks were not run");
    pool.StopThread(0xFFFFFFFF, 0);
    Check(tasks == 2, "a task was not run");
}

}  // namespace

// The argument is an empty directory, with "/" at its end.
int main(int argc, char** argv) {
    try {
        Check(argc == 2, "usage: host DIRECTORY/");
        const std::string directory = argv[1];
        Check(Novu::BasesInit() == 1, "BasesInit failed");
        WriteDocument(directory + "order.xml");
        ReadDocument(directory + "order.xml");
        ListDirectory(directory, "order.xml");
        PrintNumber();
        ConvertText();
        RunTasks();
        Novu::BasesRelease();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "host: %s\n", error.what());
        return 1;
    }
    std::puts("host: all is well");
    return 0;
}
