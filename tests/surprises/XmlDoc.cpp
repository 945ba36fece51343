// The surprises of Bases/XmlDoc.h.

#include "Bases/XmlDoc.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <locale>
#include <string>

#include "Bases/Guid.h"
#include "tests/support/CommaLocale.h"
#include "tests/support/GlobalLocale.h"
#include "tests/support/TempDir.h"
#include "tests/surprises/Seen.h"

namespace {

namespace fs = std::filesystem;

using Novu::Guid;
using Novu::XmlReader;
using Novu::XmlWriter;
using NovuTest::CommaLocale;
using NovuTest::ContentOf;
using NovuTest::FullDisk;
using NovuTest::GlobalLocale;
using NovuTest::SurprisesTest;
using NovuTest::TempDir;

const std::string kDeclaration = R"(<?xml version="1.0" encoding="UTF-8"?>)";

int Load(XmlReader& reader, std::string text) {
    return reader.Load(reinterpret_cast<unsigned char*>(text.data()),
                       text.size());
}

// Ends the document and gives what stands in it.
std::string Written(XmlWriter& writer) {
    writer.EndDocument();
    unsigned long size = 0;
    const auto* const bytes =
        reinterpret_cast<const char*>(writer.GetXmlBuffer(size));
    const std::string text(bytes, size);
    return text.substr(text.find('\n') + 1);
}

// A stream of the process goes from or to a file, for the length of a scope.
class Redirected {
public:
    Redirected(int toRedirect, const std::string& path, int flags)
        : stream(toRedirect), earlier(::dup(toRedirect)) {
        const int file = ::open(path.c_str(), flags, 0600);
        if (file != stream) {
            ::dup2(file, stream);
            ::close(file);
        }
    }
    Redirected(const Redirected&) = delete;
    Redirected& operator=(const Redirected&) = delete;
    ~Redirected() {
        if (earlier < 0) {
            ::close(stream);
            return;
        }
        ::dup2(earlier, stream);
        ::close(earlier);
    }

private:
    int stream;
    int earlier;
};

// A writer in a UTF-8 document, and one in none.
class XmlWriterSurprisesTest : public SurprisesTest {
protected:
    XmlWriterSurprisesTest() { writer.BeginDocument("UTF-8"); }

    XmlWriter writer;
    XmlWriter fresh;
};

// [xml-1]
TEST_F(XmlWriterSurprisesTest, xml_1) {
    const GlobalLocale locale("C.utf8");
    SEEN(fresh.BeginDocument("ISO-8859-1");
         fresh.WriteElement("a", "\u00e9") == 1 && fresh.EndDocument() == 0);
}

// [xml-2]
TEST_F(XmlWriterSurprisesTest, xml_2) {
    SEEN(writer.WriteElement("a", "\u00e9") == 0);
}

// [xml-3]
TEST_F(XmlWriterSurprisesTest, xml_3) {
    writer.BeginElement("a");
    SEEN(writer.WriteAttribute("b", "\xff"); writer.WriteEntity("c");
         Written(writer) == "<a b=\"c\"/>\n");
}

// [xml-4]
TEST_F(XmlWriterSurprisesTest, xml_4) {
    SEEN(fresh.BeginDocument("UTF-16") == 1 && fresh.BeginElement("a") == 0);
}

// [xml-5]
TEST_F(XmlWriterSurprisesTest, xml_5) {
    SEEN(writer.Close(); writer.BeginDocument("UTF-8") == 0);
}

// [xml-6]
TEST_F(XmlWriterSurprisesTest, xml_6) {
    SEEN(writer.WriteElementEntity("n", 4294967295U);
         Written(writer) == "<n>-1</n>\n");
}

// [xml-7]
TEST_F(XmlWriterSurprisesTest, xml_7) {
    const CommaLocale comma;
    SEEN(writer.WriteElementEntity("x", 0.5);
         Written(writer) == "<x>0,500000</x>\n");
}

// [xml-8]
TEST_F(XmlWriterSurprisesTest, xml_8) {
    SEEN(writer.BeginElement("a");
         writer.WriteAttribute("id", Guid(), 1) == 1 &&
         Written(writer) == "<a id=\"\"/>\n");
}

// [xml-9]
TEST_F(XmlWriterSurprisesTest, xml_9) {
    unsigned long size = 4711;
    SEEN(writer.WriteElement("a", "text"); writer.GetXmlBuffer(size);
         size == 0);
}

// [xml-10]
TEST_F(XmlWriterSurprisesTest, xml_10) {
    const TempDir temp;
    const std::string name = temp / "name";
    ASSERT_EQ("<a/>\n", (writer.BeginElement("a"), Written(writer)));
    const FullDisk full;
    SEEN(writer.Save(name) == 1 && fs::file_size(name) == 0);
}

// [xml-19]
TEST_F(XmlWriterSurprisesTest, xml_19) {
    XmlReader reader;
    SEEN(writer.WriteElement("a", "\x01") == 1 &&
         Load(reader, kDeclaration + Written(writer)) == 0);
}

// Loads a document, which has an attribute.
class XmlReaderSurprisesTest : public SurprisesTest {
protected:
    void Loaded(const std::string& document) {
        ASSERT_EQ(1, Load(reader, kDeclaration + document));
        root = reader.GetRootElement();
        attribute = reader.GetFirstAttribute(root);
    }

    XmlReader reader;
    XmlReader::Element* root = nullptr;
    XmlReader::Attribute* attribute = nullptr;
    std::string name;
    std::string text;
};

// [xml-11]
TEST_F(XmlReaderSurprisesTest, xml_11) {
    SEEN(Load(reader, "<?xml version='1.0'?><a/>") == 0);
}

// [xml-12]
TEST_F(XmlReaderSurprisesTest, xml_12) {
    std::string document = kDeclaration + "<a/>";
    auto* const bytes = reinterpret_cast<unsigned char*>(document.data());
    const unsigned long size = document.size();
    SEEN(reader.Load(bytes, size + (1UL << 32)) == 1);
}

// [xml-13]
TEST_F(XmlReaderSurprisesTest, xml_13) {
    Loaded("<root><a/><b/></root>");
    SEEN(name = "b"; reader.ChildElement(root, &name); name == "a");
}

// [xml-14]
TEST_F(XmlReaderSurprisesTest, xml_14) {
    Loaded("<root>one<!-- -->two</root>");
    SEEN(reader.GetEntity(root, text) == 1 && text == "one");
}

// [xml-15]
TEST_F(XmlReaderSurprisesTest, xml_15) {
    Loaded("<root n='300'/>");
    unsigned char value = 0;
    SEEN(reader.GetAttribute(attribute, name, value) == 1 && value == 44);
}

// [xml-16]
TEST_F(XmlReaderSurprisesTest, xml_16) {
    Loaded("<root id=''/>");
    Guid id;
    id.Generate();
    SEEN(reader.GetAttribute(attribute, name, id) == 1 && !id.None());
}

// [xml-17]
TEST_F(XmlReaderSurprisesTest, xml_17) {
    Loaded("<!DOCTYPE a [<!ENTITY e 'z'>]><a a='x&e;y'/>");
    SEEN(reader.GetAttribute(attribute, name, text) == 1 && text == "x");
}

// [xml-18]
TEST_F(XmlReaderSurprisesTest, xml_18) {
    const TempDir temp;
    const Redirected input(STDIN_FILENO,
                           temp.Write("name", kDeclaration + "<a/>"), O_RDONLY);
    SEEN(reader.Load("-") == 1);
}

// [xml-20]
TEST_F(XmlReaderSurprisesTest, xml_20) {
    std::string nested;
    for (int depth = 0; depth < 300; ++depth) {
        nested = "<a>" + nested + "</a>";
    }
    SEEN(Load(reader, kDeclaration + nested) == 0);
}

// [xml-22]
TEST_F(XmlReaderSurprisesTest, xml_22) {
    const std::string document = kDeclaration + "<a/>";
    SEEN(Load(reader, document) == 1 && Load(reader, document) == 0);
}

// [xml-23]
TEST_F(XmlReaderSurprisesTest, xml_23) {
    const TempDir temp;
    const std::string errors = temp / "errors";
    const Redirected output(STDERR_FILENO, errors, O_WRONLY | O_CREAT);
    SEEN(Load(reader, "<a"); !ContentOf(errors).empty());
}

}  // namespace
